#include "Linux/Media/Encoding/EvenPicture.h"

#include <algorithm>
#include <cstring>

namespace lumicrate::media {

/// Only the luma plane grows: the chroma planes of odd sizes are rounded up already.
const CVPixelBuffer& EvenPicture::of(const CVPixelBuffer& picture) {
    padded_ = picture;
    padded_.width = evenSide(picture.width);
    padded_.height = evenSide(picture.height);
    if (padded_.width == picture.width && padded_.height == picture.height) return picture;

    const auto stride = static_cast<std::size_t>(padded_.width);
    const auto width = static_cast<std::size_t>(picture.width);
    luma_.resize(stride * static_cast<std::size_t>(padded_.height));
    for (int row = 0; row < padded_.height; ++row) {
        const std::uint8_t* from =
            picture.luma + std::ptrdiff_t{std::min(row, picture.height - 1)} * picture.lumaStride;
        std::uint8_t* to = luma_.data() + static_cast<std::size_t>(row) * stride;
        std::memcpy(to, from, width);
        if (stride > width) to[width] = from[width - 1];
    }
    padded_.luma = luma_.data();
    padded_.lumaStride = padded_.width;
    return padded_;
}

}  // namespace lumicrate::media
