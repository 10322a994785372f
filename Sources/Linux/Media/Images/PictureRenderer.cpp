// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Media/Images/PictureRenderer.h"

#include "Linux/Media/Files/Failure.h"
#include "Support/Text.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <utility>

extern "C" {
#include <libavutil/frame.h>
#include <libavutil/pixdesc.h>
#include <libavutil/pixfmt.h>
#include <libswscale/swscale.h>
}

namespace lumicrate::media {

namespace {

constexpr const char* cannotScale = translatable("The movie's pictures couldn't be scaled");

bool isFullRange(const AVFrame& frame) {
    switch (frame.format) {
        case AV_PIX_FMT_YUVJ420P:
        case AV_PIX_FMT_YUVJ422P:
        case AV_PIX_FMT_YUVJ444P:
        case AV_PIX_FMT_YUVJ440P:
            return true;
        default:
            return frame.color_range == AVCOL_RANGE_JPEG;
    }
}

/// As libswscale and AVColorSpace number the matrices.
int colorSpaceOf(const AVFrame& frame) {
    constexpr int standardDefinitionLines = 576;
    switch (frame.colorspace) {
        case AVCOL_SPC_BT709:
        case AVCOL_SPC_FCC:
        case AVCOL_SPC_BT470BG:
        case AVCOL_SPC_SMPTE170M:
        case AVCOL_SPC_SMPTE240M:
        case AVCOL_SPC_BT2020_NCL:
            return frame.colorspace;
        default:
            return std::min(frame.width, frame.height) > standardDefinitionLines ? AVCOL_SPC_BT709
                                                                                 : AVCOL_SPC_SMPTE170M;
    }
}

constexpr int fractionBits = 16;

/// The weights of red and blue in luma.
struct LumaWeights {
    double red;
    double blue;
};

LumaWeights weightsOf(int colorSpace) {
    switch (colorSpace) {
        case AVCOL_SPC_BT709:
            return {0.2126, 0.0722};
        case AVCOL_SPC_FCC:
            return {0.30, 0.11};
        case AVCOL_SPC_SMPTE240M:
            return {0.212, 0.087};
        case AVCOL_SPC_BT2020_NCL:
            return {0.2627, 0.0593};
        default:  // BT.601
            return {0.299, 0.114};
    }
}

int fixed(double number) {
    return static_cast<int>(std::lround(number * (1 << fractionBits)));
}

std::uint8_t toByte(int number) {
    return static_cast<std::uint8_t>(std::clamp(number >> fractionBits, 0, 255));
}

/// Converts YUV to RGB.
class YuvColors {
 public:
    /// `colorSpace` is an AVColorSpace that libswscale supports.
    YuvColors(int colorSpace, bool fullRange);

    /// Converts a row of 4:4:4 pixels to RGB; `step` is the distance of pixels in bytes, which may be
    /// negative.
    void convertRow(const std::uint8_t* y, const std::uint8_t* cb, const std::uint8_t* cr, int width,
                    std::uint8_t* rgb, std::ptrdiff_t step) const;

 private:
    // In units of 1 ⁄ 65536.
    int lumaGain_;
    int lumaOffset_;
    int crToRed_;
    int cbToGreen_;
    int crToGreen_;
    int cbToBlue_;
};

YuvColors::YuvColors(int colorSpace, bool fullRange) {
    const auto [red, blue] = weightsOf(colorSpace);
    const double green = 1 - red - blue;
    const double luma = fullRange ? 1 : 255.0 / 219;
    const double chroma = fullRange ? 1 : 255.0 / 224;
    lumaGain_ = fixed(luma);
    lumaOffset_ = (1 << (fractionBits - 1)) - (fullRange ? 0 : 16 * lumaGain_);
    crToRed_ = fixed(2 * (1 - red) * chroma);
    cbToBlue_ = fixed(2 * (1 - blue) * chroma);
    cbToGreen_ = fixed(2 * (1 - blue) * blue / green * chroma);
    crToGreen_ = fixed(2 * (1 - red) * red / green * chroma);
}

void YuvColors::convertRow(const std::uint8_t* y, const std::uint8_t* cb, const std::uint8_t* cr, int width,
                           std::uint8_t* rgb, std::ptrdiff_t step) const {
    for (int x = 0; x < width; ++x, rgb += step) {
        const int luma = y[x] * lumaGain_ + lumaOffset_;
        const int blueness = cb[x] - 128;
        const int redness = cr[x] - 128;
        rgb[0] = toByte(luma + redness * crToRed_);
        rgb[1] = toByte(luma - blueness * cbToGreen_ - redness * crToGreen_);
        rgb[2] = toByte(luma + blueness * cbToBlue_);
    }
}

int pixels(double extent, double maximum) {
    const double most = std::max(std::floor(maximum), 1.0);
    return static_cast<int>(std::clamp(std::round(extent), 1.0, most));
}

}  // namespace

Orientation orientationOf(std::span<const std::int32_t> displayMatrix) {
    constexpr std::size_t matrixLength = 9;
    if (displayMatrix.size() != matrixLength) return {};
    // Shown x = a · x + c · y, shown y = b · x + d · y.
    const std::int64_t a = displayMatrix[0], b = displayMatrix[1];
    const std::int64_t c = displayMatrix[3], d = displayMatrix[4];
    const bool swaps = std::abs(b) + std::abs(c) > std::abs(a) + std::abs(d);
    return {swaps, (swaps ? c : a) < 0, (swaps ? b : d) < 0};
}

PixelSize shownSize(PixelSize coded, double pixelAspect, const Orientation& orientation, Size maximum) {
    double width = coded.width * pixelAspect;
    double height = coded.height;
    if (orientation.swapsAxes) std::swap(width, height);
    const double scale = std::min({1.0, maximum.width / width, maximum.height / height});
    return {pixels(width * scale, maximum.width), pixels(height * scale, maximum.height)};
}

void PictureRenderer::Free::operator()(SwsContext* scaler) const {
    sws_freeContext(scaler);
}

PictureRenderer::PictureRenderer(PixelSize shown, const Orientation& orientation)
    : shown_(shown), orientation_(orientation), scaled_(makeFrame()) {
    scaled_->format = AV_PIX_FMT_YUV444P;
    scaled_->width = orientation.swapsAxes ? shown.height : shown.width;
    scaled_->height = orientation.swapsAxes ? shown.width : shown.height;
    checked(av_frame_get_buffer(scaled_.get(), 0), cannotScale);
}

void PictureRenderer::render(const AVFrame& frame, CGImage& image) {
    const int colorSpace = colorSpaceOf(frame);
    const bool fullRange = isFullRange(frame);
    scale(frame, colorSpace, fullRange);

    image.width = shown_.width;
    image.height = shown_.height;
    image.pixels.resize(std::size_t{3} * static_cast<std::size_t>(shown_.width) *
                        static_cast<std::size_t>(shown_.height));
    // The place of the first pixel, and the distances to its neighbours.
    std::ptrdiff_t right = 3, down = std::ptrdiff_t{3} * shown_.width;
    std::ptrdiff_t origin = 0;
    if (orientation_.reversesX) {
        origin += right * (shown_.width - 1);
        right = -right;
    }
    if (orientation_.reversesY) {
        origin += down * (shown_.height - 1);
        down = -down;
    }
    if (orientation_.swapsAxes) std::swap(right, down);
    const YuvColors colors(colorSpace, fullRange);
    for (int y = 0; y < scaled_->height; ++y) {
        colors.convertRow(scaled_->data[0] + std::ptrdiff_t{y} * scaled_->linesize[0],
                          scaled_->data[1] + std::ptrdiff_t{y} * scaled_->linesize[1],
                          scaled_->data[2] + std::ptrdiff_t{y} * scaled_->linesize[2], scaled_->width,
                          image.pixels.data() + origin + y * down, right);
    }
}

void PictureRenderer::scale(const AVFrame& frame, int colorSpace, bool fullRange) {
    // A movie may change its size or format.
    scaler_.reset(sws_getCachedContext(scaler_.release(), frame.width, frame.height,
                                       static_cast<AVPixelFormat>(frame.format), scaled_->width,
                                       scaled_->height, AV_PIX_FMT_YUV444P, SWS_LANCZOS | SWS_ACCURATE_RND,
                                       nullptr, nullptr, nullptr));
    if (!scaler_) failWithCode(cannotScale, AVERROR(ENOSYS));
    const int* matrix = sws_getCoefficients(colorSpace);
    constexpr int one = 1 << 16;
    // Fails where no conversion is needed, and then does not matter.
    sws_setColorspaceDetails(scaler_.get(), matrix, fullRange, matrix, fullRange, 0, one, one);
    checked(sws_scale(scaler_.get(), frame.data, frame.linesize, 0, frame.height, scaled_->data,
                      scaled_->linesize),
            cannotScale);
}

}  // namespace lumicrate::media
