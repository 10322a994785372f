// SPDX-License-Identifier: GPL-3.0-or-later
// RawValues: the text of each case of an enumeration, as preferences store it.
#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <string_view>

namespace lumicrate {

/// Specialise it with `static constexpr std::array names`: the texts in the order of the cases, whose values
/// count from 0.
template <class Enumeration>
struct RawValues;

template <class Enumeration>
constexpr std::string_view rawValue(Enumeration value) {
    return RawValues<Enumeration>::names[static_cast<std::size_t>(value)];
}

/// The case with exactly this text.
template <class Enumeration>
constexpr std::optional<Enumeration> fromRawValue(std::string_view text) {
    const auto& names = RawValues<Enumeration>::names;
    for (std::size_t i = 0; i < names.size(); ++i) {
        if (names[i] == text) return static_cast<Enumeration>(i);
    }
    return std::nullopt;
}

/// All cases in their order, which pickers use too.
template <class Enumeration>
constexpr auto allCases() {
    std::array<Enumeration, RawValues<Enumeration>::names.size()> cases{};
    for (std::size_t i = 0; i < cases.size(); ++i)
        cases[i] = static_cast<Enumeration>(i);
    return cases;
}

}  // namespace lumicrate
