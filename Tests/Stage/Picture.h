// SPDX-License-Identifier: GPL-3.0-or-later
// Picture: a decoded picture in the decoder's memory, and OwnedPicture: a copy of one.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

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

    const Plane& luma() const { return planes[0]; }
    /// The colour of a pixel, by BT.709 in limited range unless the planes are RGB.
    Rgb rgbAt(int x, int y) const;
};

/// Can be moved but not copied: the planes point into the vectors.
class OwnedPicture {
 public:
    OwnedPicture() = default;
    explicit OwnedPicture(const Picture& picture);
    OwnedPicture(OwnedPicture&&) = default;
    OwnedPicture& operator=(OwnedPicture&&) = default;
    OwnedPicture(const OwnedPicture&) = delete;
    OwnedPicture& operator=(const OwnedPicture&) = delete;

    const Picture& operator*() const { return picture_; }
    const Picture* operator->() const { return &picture_; }

 private:
    std::array<std::vector<std::uint8_t>, 3> memory_;
    Picture picture_;
};

}  // namespace lumicrate::stage
