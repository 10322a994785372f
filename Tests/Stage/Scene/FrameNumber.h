// SPDX-License-Identifier: GPL-3.0-or-later
// FrameNumber: a bar of sixteen black and white blocks in the top-left corner of a picture, which encodes the
// picture's number and survives lossy coding.
#pragma once

#include "Tests/Stage/Picture.h"
#include "Tests/Stage/Scene/Image.h"

#include <optional>

namespace lumicrate::stage {

struct FrameNumber {
    static constexpr int blocks = 16;
    static constexpr int blockSize = 16;
    static constexpr int barWidth = blocks * blockSize;

    /// The low twelve bits of the number, below a checksum of four bits that rejects a half-drawn bar.
    static void draw(Image& image, int number);
    /// Nothing when the corner does not contain a whole bar. `scale` is that of the picture, at least 1 ⁄ 3.
    static std::optional<int> read(const Plane& luma, double scale = 1);
};

}  // namespace lumicrate::stage
