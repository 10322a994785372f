#include "Linux/Media/Images/PictureRenderer.h"

#include "Linux/Media/Files/Failure.h"
#include "Linux/Media/Images/YuvColors.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <utility>

extern "C" {
#include <libavutil/frame.h>
#include <libavutil/pixdesc.h>
#include <libswscale/swscale.h>
}

namespace lumicrate::media {

namespace {

constexpr const char* cannotScale = "The movie's pictures couldn't be scaled";

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

/// libswscale numbers the matrices as AVColorSpace does.
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

}  // namespace

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
    // Where the first pixel goes, and how far it is to those of its neighbours.
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
    // A movie may change its size or format on the way.
    scaler_.reset(sws_getCachedContext(scaler_.release(), frame.width, frame.height,
                                       static_cast<AVPixelFormat>(frame.format), scaled_->width,
                                       scaled_->height, AV_PIX_FMT_YUV444P, SWS_LANCZOS | SWS_ACCURATE_RND,
                                       nullptr, nullptr, nullptr));
    if (!scaler_) failWithCode(cannotScale, AVERROR(ENOSYS));
    const int* matrix = sws_getCoefficients(colorSpace);
    constexpr int one = 1 << 16;
    // Not supported where nothing has to be converted: then there is nothing to set either.
    sws_setColorspaceDetails(scaler_.get(), matrix, fullRange, matrix, fullRange, 0, one, one);
    checked(sws_scale(scaler_.get(), frame.data, frame.linesize, 0, frame.height, scaled_->data,
                      scaled_->linesize),
            cannotScale);
}

}  // namespace lumicrate::media
