// TestPicture: a picture as capture would deliver it, drawn by a test.
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
    /// Black-on-white strokes of one or two pixels, as dense as small print, other ones for each `seed`.
    void print(const PixelRect& rect, unsigned seed);
    /// Every luma sample by chance.
    void noise(const PixelRect& rect, unsigned seed);

 private:
    PixelRect inside(const PixelRect& rect) const;
    void expose();

    std::vector<std::uint8_t> lumaBytes_;
    std::vector<std::uint8_t> chromaBytes_;
};

/// How near a part of a decoded picture is to its source: peak signal-to-noise ratio of the luma, in dB.
double psnr(const CVPixelBuffer& source, const stage::Picture& decoded, const PixelRect& rect);
double psnr(const CVPixelBuffer& source, const stage::Picture& decoded);
/// Structural similarity of the luma, over blocks of 8 × 8 samples.
double ssim(const CVPixelBuffer& source, const stage::Picture& decoded);

}  // namespace lumicrate::test
