// SPDX-License-Identifier: GPL-3.0-or-later
// FrameNumber: a bar of sixteen black and white blocks in the top-left corner of a picture, which encodes the
// picture's number and survives lossy coding.
#pragma once

#include "Tests/Stage/Picture.h"
#include "Tests/Stage/Scene/Image.h"

#include <algorithm>
#include <optional>

namespace lumicrate::stage {

class FrameNumber {
 public:
    static constexpr int blocks = 16;
    static constexpr int blockSize = 16;
    static constexpr int barWidth = blocks * blockSize;

    /// The low twelve bits of the number, below a checksum of four bits that rejects a half-drawn bar.
    static void draw(Image& image, int number) {
        const int code = coded(number);
        for (int block = 0; block < blocks; ++block) {
            const bool isSet = (code >> (blocks - 1 - block) & 1) != 0;
            image.fill({block * blockSize, 0, blockSize, blockSize}, isSet ? 0xffffff : 0x000000);
        }
    }
    /// Nothing when the corner does not contain a whole bar. `scale` is that of the picture, at least 1 ⁄ 3.
    static std::optional<int> read(const Plane& luma, double scale = 1) {
        const double size = blockSize * scale;
        if (luma.width < blocks * size || luma.height < size) return std::nullopt;
        // The middle of each block, away from its neighbours.
        const auto from = [&](int block) { return static_cast<int>(size * block + size * 5 / 16); };
        const int side = std::max(static_cast<int>(size * 6 / 16), 1);
        int code = 0;
        for (int block = 0; block < blocks; ++block) {
            int sum = 0;
            for (int y = from(0); y < from(0) + side; ++y)
                for (int x = from(block); x < from(block) + side; ++x)
                    sum += luma.at(x, y);
            const int mean = sum / (side * side);
            if (mean > 70 && mean < 180) return std::nullopt;  // neither black nor white
            code = code << 1 | (mean >= 126 ? 1 : 0);
        }
        const int number = code & (limit - 1);
        return coded(number) == code ? std::optional(number) : std::nullopt;
    }

 private:
    static constexpr int limit = 1 << 12;

    static int coded(int number) {
        const int low = number % limit;
        // Never all zeros or all ones, so that a plain black or white corner is not a number.
        return (((low ^ low >> 4 ^ low >> 8) & 15) ^ 5) << 12 | low;
    }
};

}  // namespace lumicrate::stage
