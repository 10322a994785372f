// FrameNumber: a bar of sixteen black and white blocks in the picture's top-left corner that says which
// picture it is, and survives lossy coding.
#pragma once

#include "Tests/Stage/Picture.h"
#include "Tests/Stage/Scene/Image.h"

#include <optional>

namespace lumicrate::stage {

struct FrameNumber {
    static constexpr int blocks = 16;
    static constexpr int blockSize = 16;
    static constexpr int barWidth = blocks * blockSize;

    // The number's low twelve bits, below a checksum of four that tells a half-drawn bar from a whole one.
    static constexpr int limit = 1 << 12;
    static int coded(int number);
    static void draw(Image& image, int number);
    // Nothing when the corner does not hold a whole bar. A picture that was scaled has the bar in another
    // size; down to a third of its own it can be read.
    static std::optional<int> read(const Plane& luma, double scale = 1);
};

}  // namespace lumicrate::stage
