// Color: red, green and blue, and how different two colours look.
#pragma once

#include <array>
#include <cstdint>

namespace lumicrate::media {

/// Red, green and blue, 0 … 255.
using Color = std::array<int, 3>;

inline Color colorAt(const std::uint8_t* rgb) {
    return {rgb[0], rgb[1], rgb[2]};
}

/// How different two colours look: squares of the differences, each channel by its part in brightness.
inline int difference(const Color& one, const Color& other) {
    const int red = one[0] - other[0];
    const int green = one[1] - other[1];
    const int blue = one[2] - other[2];
    return 2 * red * red + 4 * green * green + blue * blue;
}

}  // namespace lumicrate::media
