// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Media/Editing/PictureShaper.h"

#include "Linux/Media/Encoding/VideoEncoder.h"
#include "Linux/Media/Files/Failure.h"
#include "Support/Text.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

extern "C" {
#include <libswscale/swscale.h>
}

namespace lumicrate::media {

namespace {

constexpr std::string_view cannotConvert = translatable("The pictures couldn't be converted");

}  // namespace

void PictureShaper::Free::operator()(SwsContext* scaler) const {
    sws_freeContext(scaler);
}

PictureShaper::PictureShaper(int width, int height, AVPixelFormat format)
    : width_(width), height_(height), format_(format), shaped_(makeFrame()) {}

AVFrame& PictureShaper::shaped(AVFrame& picture) {
    const bool even = evenSide(width_) == width_ && evenSide(height_) == height_;
    if (even && picture.format == format_ && picture.width == width_ && picture.height == height_)
        return picture;
    prepare(picture);
    sws_scale(scaler_.get(), picture.data, picture.linesize, 0, picture.height, shaped_->data,
              shaped_->linesize);
    growLuma();
    return *shaped_;
}

void PictureShaper::prepare(const AVFrame& picture) {
    scaler_.reset(sws_getCachedContext(scaler_.release(), picture.width, picture.height,
                                       static_cast<AVPixelFormat>(picture.format), width_, height_, format_,
                                       SWS_BICUBIC | SWS_ACCURATE_RND, nullptr, nullptr, nullptr));
    if (!scaler_) failWithCode(cannotConvert, AVERROR(ENOSYS));
    // A new buffer: the encoder may still use the last one.
    av_frame_unref(shaped_.get());
    shaped_->format = format_;
    shaped_->width = evenSide(width_);
    shaped_->height = evenSide(height_);
    checked(av_frame_get_buffer(shaped_.get(), 0), cannotConvert);
    shaped_->color_range = picture.color_range;
}

/// The chroma planes are rounded up already.
void PictureShaper::growLuma() {
    const auto stride = static_cast<std::ptrdiff_t>(shaped_->linesize[0]);
    std::uint8_t* luma = shaped_->data[0];
    if (shaped_->width > width_) {
        for (int row = 0; row < height_; ++row)
            luma[row * stride + width_] = luma[row * stride + width_ - 1];
    }
    if (shaped_->height > height_)
        std::memcpy(luma + height_ * stride, luma + (height_ - 1) * stride,
                    static_cast<std::size_t>(shaped_->width));
}

}  // namespace lumicrate::media
