// Enumerations with a text for each case: the text is what preferences hold.
#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <string_view>

namespace lumicrate {

/// Specialised for each such enumeration with `static constexpr std::array names`: the texts in the order of
/// the cases, whose values count from 0.
template <class Enumeration>
struct RawValues;

template <class Enumeration>
constexpr std::string_view rawValue(Enumeration value) {
    return RawValues<Enumeration>::names[static_cast<std::size_t>(value)];
}

/// The case with exactly this text, or none.
template <class Enumeration>
constexpr std::optional<Enumeration> fromRawValue(std::string_view text) {
    const auto& names = RawValues<Enumeration>::names;
    for (std::size_t i = 0; i < names.size(); ++i) {
        if (names[i] == text) return static_cast<Enumeration>(i);
    }
    return std::nullopt;
}

/// All cases in their order, which is also that of pickers.
template <class Enumeration>
constexpr auto allCases() {
    std::array<Enumeration, RawValues<Enumeration>::names.size()> cases{};
    for (std::size_t i = 0; i < cases.size(); ++i)
        cases[i] = static_cast<Enumeration>(i);
    return cases;
}

}  // namespace lumicrate
