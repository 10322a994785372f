// EvenPicture: pictures made even-sized, as 4:2:0 coding needs them.
#pragma once

#include "Platform/CMSampleBuffer.h"

#include <cstdint>
#include <vector>

namespace lumicrate::media {

constexpr int evenSide(int pixels) {
    return (pixels + 1) & ~1;
}

class EvenPicture {
 public:
    /// The picture itself where both sides are even; otherwise one with the last column or row repeated,
    /// which is good until the next call and while the given one lives.
    const CVPixelBuffer& of(const CVPixelBuffer& picture);

 private:
    CVPixelBuffer padded_;
    std::vector<std::uint8_t> luma_;
};

}  // namespace lumicrate::media
