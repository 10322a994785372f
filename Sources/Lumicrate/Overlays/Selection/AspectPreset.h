// AspectPreset: the shapes that a selection can be held to.
#pragma once

#include "Lumicrate/Recording/RawValues.h"

#include <array>
#include <optional>
#include <string_view>

namespace lumicrate {

enum class AspectPreset { custom, wide, tall, standard, square };

/// They are the labels, too.
template <>
struct RawValues<AspectPreset> {
    static constexpr std::array<std::string_view, 5> names = {"Custom", "16:9", "9:16", "4:3", "1:1"};
};

/// Width by height; none for a free shape.
constexpr std::optional<double> ratioOf(AspectPreset preset) {
    switch (preset) {
        case AspectPreset::wide:
            return 16.0 / 9;
        case AspectPreset::tall:
            return 9.0 / 16;
        case AspectPreset::standard:
            return 4.0 / 3;
        case AspectPreset::square:
            return 1.0;
        case AspectPreset::custom:
            break;
    }
    return std::nullopt;
}

}  // namespace lumicrate
