// Properties of windows. Several can be requested together before the first reply is read.
#pragma once

#include "Linux/X11/Server/Connection.h"

#include <cstdint>
#include <optional>
#include <span>
#include <string_view>
#include <utility>

namespace lumicrate::x11 {

/// A property that was read, or an absent one.
class Property {
 public:
    explicit Property(Reply<xcb_get_property_reply_t> reply) : reply_(std::move(reply)) {}

    /// XCB_NONE for an absent property.
    xcb_atom_t type() const { return reply_ ? reply_->type : static_cast<xcb_atom_t>(XCB_NONE); }
    /// Nothing when it is absent or its format is not 8 bits. Valid while this object lives.
    std::optional<std::string_view> bytes() const;
    /// Empty when it is absent or its format is not 32 bits. Valid while this object lives.
    std::span<const std::uint32_t> numbers() const;

 private:
    Reply<xcb_get_property_reply_t> reply_;
};

/// A request for a property, sent by the constructor. Must be collected exactly once.
class PropertyQuery {
 public:
    PropertyQuery(const Connection& connection, xcb_window_t window, xcb_atom_t property);

    /// Waits for the reply. A window that is gone has no properties. Throws PlatformError when the server is
    /// lost.
    Property collect() const;

 private:
    const Connection* connection_;
    xcb_get_property_cookie_t cookie_;
};

}  // namespace lumicrate::x11
