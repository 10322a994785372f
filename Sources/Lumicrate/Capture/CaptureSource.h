// SPDX-License-Identifier: GPL-3.0-or-later
// CaptureSource: what a recording captures.
#pragma once

#include <cstdint>
#include <optional>

namespace lumicrate {

/// A whole display, a window, an area of a display (the rectangle is in the options), or sound alone.
class CaptureSource {
 public:
    enum class Kind { display, window, area, audioOnly };

    static constexpr CaptureSource display(std::uint32_t displayID) { return {Kind::display, displayID}; }
    static constexpr CaptureSource window(std::uint32_t windowID) { return {Kind::window, windowID}; }
    static constexpr CaptureSource area(std::uint32_t displayID) { return {Kind::area, displayID}; }
    static constexpr CaptureSource audioOnly() { return {Kind::audioOnly, 0}; }

    constexpr Kind kind() const { return kind_; }
    constexpr bool is(Kind kind) const { return kind_ == kind; }
    /// Set for a display or an area.
    constexpr std::optional<std::uint32_t> displayID() const {
        return is(Kind::display) || is(Kind::area) ? std::optional(id_) : std::nullopt;
    }
    constexpr std::optional<std::uint32_t> windowID() const {
        return is(Kind::window) ? std::optional(id_) : std::nullopt;
    }
    bool operator==(const CaptureSource&) const = default;

 private:
    constexpr CaptureSource(Kind kind, std::uint32_t id) : kind_(kind), id_(id) {}

    Kind kind_;
    std::uint32_t id_;
};

/// False if there is no source.
constexpr bool isKind(const std::optional<CaptureSource>& source, CaptureSource::Kind kind) {
    return source && source->is(kind);
}

}  // namespace lumicrate
