// SPDX-License-Identifier: GPL-3.0-or-later
// TestPicture: a picture in the form that capture delivers, drawn by a test.
#pragma once

#include "Platform/CMSampleBuffer.h"
#include "Tests/Stage/Picture.h"

#include <cstdint>
#include <memory>
#include <random>
#include <vector>

namespace lumicrate::test {

class TestPicture final : public CVPixelBuffer {
 public:
    /// White; strides are longer than the rows.
    TestPicture(int pixelWidth, int pixelHeight);
    TestPicture(const TestPicture& other);
    TestPicture& operator=(const TestPicture&) = delete;

    void fill(const PixelRect& rect, int y, int cb, int cr);
    /// Black-on-white strokes of one or two pixels, as dense as small text, different for each `seed`.
    void print(const PixelRect& rect, unsigned seed);
    /// Random luma samples within the picture.
    void noise(const PixelRect& rect, unsigned seed);

 private:
    void expose();

    std::vector<std::uint8_t> lumaBytes_;
    std::vector<std::uint8_t> chromaBytes_;
};

/// Peak signal-to-noise ratio of the luma of a decoded picture, or a part of it, in dB.
double psnr(const CVPixelBuffer& source, const stage::Picture& decoded, const PixelRect& rect);
inline double psnr(const CVPixelBuffer& source, const stage::Picture& decoded) {
    return psnr(source, decoded, {0, 0, source.width, source.height});
}

}  // namespace lumicrate::test
