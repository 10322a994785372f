// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Media/Camera/CameraScaler.h"

#include <array>
#include <cstddef>
#include <cstdint>

extern "C" {
#include <libavutil/imgutils.h>
#include <libavutil/pixdesc.h>
#include <libswscale/swscale.h>
}

namespace lumicrate::media {

namespace {

/// Without the formats that imply full range, which is passed on its own.
AVPixelFormat plainFormat(int format) {
    switch (format) {
        case AV_PIX_FMT_YUVJ420P:
            return AV_PIX_FMT_YUV420P;
        case AV_PIX_FMT_YUVJ422P:
            return AV_PIX_FMT_YUV422P;
        case AV_PIX_FMT_YUVJ444P:
            return AV_PIX_FMT_YUV444P;
        case AV_PIX_FMT_YUVJ440P:
            return AV_PIX_FMT_YUV440P;
        case AV_PIX_FMT_YUVJ411P:
            return AV_PIX_FMT_YUV411P;
        default:
            return static_cast<AVPixelFormat>(format);
    }
}

/// The first pixel of a part in each plane. The part begins at even coordinates.
std::array<const std::uint8_t*, 4> planesAt(const AVFrame& picture, const PixelRect& part) {
    const AVPixFmtDescriptor& format = *av_pix_fmt_desc_get(static_cast<AVPixelFormat>(picture.format));
    std::array<const std::uint8_t*, 4> planes{};
    for (int i = format.nb_components - 1; i >= 0; --i) {
        const AVComponentDescriptor& component = format.comp[i];
        const bool isSubsampled = component.plane > 0 && (i == 1 || i == 2);
        const int x = part.x >> (isSubsampled ? format.log2_chroma_w : 0);
        const int y = part.y >> (isSubsampled ? format.log2_chroma_h : 0);
        const auto plane = static_cast<std::size_t>(component.plane);
        planes[plane] = picture.data[plane] + std::ptrdiff_t{y} * picture.linesize[plane] +
                        std::ptrdiff_t{x} * component.step;
    }
    return planes;
}

}  // namespace

bool isRgb(AVPixelFormat format) {
    return (av_pix_fmt_desc_get(format)->flags & AV_PIX_FMT_FLAG_RGB) != 0;
}

void CameraScaler::Free::operator()(SwsContext* scaler) const {
    sws_freeContext(scaler);
}

bool CameraScaler::scale(const AVFrame& picture, const PixelRect& part, const AVFrame& result) {
    const Kind kind{
        part.width,    part.height,   plainFormat(picture.format), result.width,
        result.height, result.format, picture.colorspace,          picture.color_range == AVCOL_RANGE_JPEG};
    auto planes = planesAt(picture, part);
    // libswscale 6 copies only the first plane of an NV12 picture that stays as it is.
    if (kind == Kind{result.width, result.height, result.format, result.width, result.height, result.format,
                     picture.colorspace, picture.color_range == AVCOL_RANGE_JPEG}) {
        av_image_copy(const_cast<std::uint8_t**>(result.data), const_cast<int*>(result.linesize),
                      planes.data(), picture.linesize, static_cast<AVPixelFormat>(result.format),
                      result.width, result.height);
        return true;
    }
    if ((!scaler_ || kind != kind_) && !open(kind)) return false;
    return sws_scale(scaler_.get(), planes.data(), picture.linesize, 0, part.height, result.data,
                     result.linesize) == result.height;
}

bool CameraScaler::open(const Kind& kind) {
    const auto [width, height, format, newWidth, newHeight, newFormat, colorSpace, isFullRange] = kind;
    const auto from = static_cast<AVPixelFormat>(format);
    const auto to = static_cast<AVPixelFormat>(newFormat);
    kind_ = kind;
    scaler_.reset();
    if (sws_isSupportedInput(from) == 0) return false;
    // Bilinear filters of libswscale are widened when they shrink a picture.
    scaler_.reset(sws_getContext(width, height, from, newWidth, newHeight, to, SWS_BILINEAR, nullptr, nullptr,
                                 nullptr));
    if (!scaler_) return false;
    const int* const matrix = sws_getCoefficients(isRgb(from) ? AVCOL_SPC_BT709 : colorSpace);
    const bool isResultFullRange = isRgb(to) || (isFullRange && !isRgb(from));
    constexpr int one = 1 << 16;
    // Fails where no conversion is needed, and then does not matter.
    sws_setColorspaceDetails(scaler_.get(), matrix, isFullRange || isRgb(from), matrix, isResultFullRange, 0,
                             one, one);
    return true;
}

}  // namespace lumicrate::media
