// SPDX-License-Identifier: GPL-3.0-or-later
// Picture: a decoded picture.
#pragma once

#include <array>
#include <cstdint>
#include <memory>

namespace lumicrate::stage {

struct Rgb {
    int red = 0;
    int green = 0;
    int blue = 0;

    bool operator==(const Rgb&) const = default;
    /// The largest difference in any channel.
    int distanceTo(const Rgb& other) const;
};

/// BT.709 in limited range (Y 16 … 235) to full-range RGB, rounded to the nearest value.
Rgb rgbFromBt709(int y, int cb, int cr);
/// The luma of BT.709 in limited range, rounded.
int lumaOfBt709(const Rgb& color);

/// 8-bit samples of one component in a picture's memory.
struct Plane {
    const std::uint8_t* data = nullptr;
    int stride = 0;  ///< bytes from one row to the next
    int width = 0;
    int height = 0;
    int step = 1;  ///< bytes from one sample to the next in a row

    std::uint8_t at(int x, int y) const {
        return data[std::ptrdiff_t{y} * stride + std::ptrdiff_t{x} * step];
    }
};

struct Picture {
    double time = 0;  ///< seconds, when it is shown
    int width = 0;
    int height = 0;
    bool isRgb = false;           ///< then the planes are red, green and blue
    std::array<Plane, 3> planes;  ///< luma, Cb, Cr
    /// Keeps the planes' samples, also in copies of this picture.
    std::shared_ptr<const void> memory;

    const Plane& luma() const { return planes[0]; }
    /// The colour of a pixel, by BT.709 in limited range unless the planes are RGB.
    Rgb rgbAt(int x, int y) const;
};

using OwnedPicture = std::shared_ptr<const Picture>;

}  // namespace lumicrate::stage
