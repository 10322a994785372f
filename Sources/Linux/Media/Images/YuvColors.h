// YuvColors: the colours of video as red, green and blue.
#pragma once

#include <cstddef>
#include <cstdint>

namespace lumicrate::media {

class YuvColors {
 public:
    /// `colorSpace` is one of AVColorSpace that libswscale knows.
    YuvColors(int colorSpace, bool fullRange);

    /// Converts a row of 4:4:4 pixels into RGB, `step` bytes from one pixel to the next (below zero too).
    void convertRow(const std::uint8_t* y, const std::uint8_t* cb, const std::uint8_t* cr, int width,
                    std::uint8_t* rgb, std::ptrdiff_t step) const;

 private:
    // In 1 ⁄ 65536.
    int lumaGain_;
    int lumaOffset_;
    int crToRed_;
    int cbToGreen_;
    int crToGreen_;
    int cbToBlue_;
};

}  // namespace lumicrate::media
