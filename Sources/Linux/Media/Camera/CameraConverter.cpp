// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Media/Camera/CameraConverter.h"

#include "Linux/Media/Camera/CameraColorConverter.h"
#include "Linux/Media/Camera/CameraDecoder.h"
#include "Linux/Media/Images/PictureRenderer.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <utility>

extern "C" {
#include <libavutil/pixfmt.h>
}

namespace lumicrate::media {

namespace {

constexpr int maxSide = CameraFormat::maxSide;
constexpr int alignment = 64;

constexpr int aligned(int bytes) {
    return (bytes + alignment - 1) / alignment * alignment;
}

std::size_t bytesIn(int stride, int rows) {
    return static_cast<std::size_t>(stride) * static_cast<std::size_t>(rows);
}

class CameraPixelBuffer final : public CVPixelBuffer {
 public:
    CameraPixelBuffer(PixelSize size, RecycledMemory& memory)
        : stride_(aligned(size.width)),
          memory_(memory.take(bytesIn(stride_, size.height + size.height / 2))) {
        width = size.width;
        height = size.height;
        lumaStride = chromaStride = stride_;
        luma = writableLuma();
        chroma = writableChroma();
    }
    std::uint8_t* writableLuma() { return memory_.get(); }
    std::uint8_t* writableChroma() { return memory_.get() + bytesIn(stride_, height); }

 private:
    int stride_;
    RecycledMemory::Block memory_;
};

bool swapsAxes(const CameraFrame& frame) {
    return frame.transform.quarterTurns % 2 != 0;
}

/// Undoes the turn first, then the flip.
Orientation orientationOf(const CameraFrame& frame, bool isMirrored) {
    const int turns = frame.transform.quarterTurns;  // counter-clockwise, so these turn clockwise
    Orientation orientation{turns % 2 != 0, turns == 1 || turns == 2, turns == 2 || turns == 3};
    if (frame.transform.isFlipped != isMirrored) orientation.reversesX = !orientation.reversesX;
    return orientation;
}

/// The shown part of a frame; all numbers are even, so that it has whole chroma samples.
PixelRect shownPart(const CameraFrame& frame) {
    constexpr int minSide = 2;
    const auto even = [](PixelRect rect) {
        const int x = (rect.x + 1) / 2 * 2;
        const int y = (rect.y + 1) / 2 * 2;
        return PixelRect{x, y, (rect.maxX() - x) / 2 * 2, (rect.maxY() - y) / 2 * 2};
    };
    const PixelRect whole = even({0, 0, frame.format.size.width, frame.format.size.height});
    if (!frame.crop) return whole;
    // Clamped first: the numbers come from another program.
    PixelRect crop = *frame.crop;
    crop.x = std::clamp(crop.x, -maxSide, maxSide);
    crop.y = std::clamp(crop.y, -maxSide, maxSide);
    crop.width = std::min(crop.width, 2 * maxSide);
    crop.height = std::min(crop.height, 2 * maxSide);
    const PixelRect part = even(crop.intersection(whole));
    return part.width < minSide || part.height < minSide ? whole : part;
}

/// The same part of a picture that may be reduced.
PixelRect reducedPart(const CameraFrame& frame, const AVFrame& picture) {
    const PixelRect part = shownPart(frame);
    const auto scaled = [](int number, int side, int fullSide) {
        return static_cast<int>(std::int64_t{number} * side / fullSide);
    };
    const auto [fullWidth, fullHeight] = frame.format.size;
    const int x = scaled(part.x, picture.width, fullWidth) / 2 * 2;
    const int y = scaled(part.y, picture.height, fullHeight) / 2 * 2;
    return {x, y, std::max(scaled(part.maxX(), picture.width, fullWidth) - x, 1),
            std::max(scaled(part.maxY(), picture.height, fullHeight) - y, 1)};
}

/// The size at which a picture of `size` covers `cover`.
PixelSize covering(PixelSize size, PixelSize cover) {
    const double scale = std::max(static_cast<double>(cover.width) / size.width,
                                  static_cast<double>(cover.height) / size.height);
    const auto side = [&](int length, int least) {
        return std::clamp(static_cast<int>(std::lround(length * scale)), std::clamp(least, 1, maxSide),
                          maxSide);
    };
    return {side(size.width, cover.width), side(size.height, cover.height)};
}

/// Memory of that size and format in the frame, which keeps it as long as nothing changes.
bool provide(AVFrame& frame, AVPixelFormat format, int width, int height) {
    if (frame.data[0] && frame.width == width && frame.height == height && frame.format == format)
        return true;
    av_frame_unref(&frame);
    frame.format = format;
    frame.width = width;
    frame.height = height;
    return av_frame_get_buffer(&frame, 0) >= 0;
}

/// Copies a plane of `width` × `height` pixels and turns it.
template <class Pixel>
void copyTurned(const AVFrame& frame, int plane, int width, int height, const Orientation& orientation,
                std::uint8_t* target, std::ptrdiff_t stride) {
    std::ptrdiff_t right = sizeof(Pixel);
    std::ptrdiff_t down = stride;
    std::ptrdiff_t origin = 0;
    if (orientation.reversesX) {
        origin += right * ((orientation.swapsAxes ? height : width) - 1);
        right = -right;
    }
    if (orientation.reversesY) {
        origin += down * ((orientation.swapsAxes ? width : height) - 1);
        down = -down;
    }
    if (orientation.swapsAxes) std::swap(right, down);
    for (int y = 0; y < height; ++y) {
        const std::uint8_t* from = frame.data[plane] + std::ptrdiff_t{y} * frame.linesize[plane];
        std::uint8_t* to = target + origin + y * down;
        for (int x = 0; x < width; ++x, from += sizeof(Pixel), to += right)
            std::memcpy(to, from, sizeof(Pixel));
    }
}

}  // namespace

PixelSize uprightSize(const CameraFrame& frame) {
    const PixelRect part = shownPart(frame);
    return swapsAxes(frame) ? PixelSize{part.height, part.width} : PixelSize{part.width, part.height};
}

int reductionFor(const CameraFrame& frame, PixelSize cover) {
    const auto [width, height] = uprightSize(frame);
    int reduction = 0;
    while (reduction < CameraDecoder::maxReduction && width >> (reduction + 1) >= cover.width &&
           height >> (reduction + 1) >= cover.height)
        ++reduction;
    // The decoder has no fast code for one half: decoding everything takes less time.
    return reduction == 1 ? 0 : reduction;
}

RenderedPicture CameraConverter::preview(const CameraFrame& frame, const AVFrame& picture, PixelSize cover) {
    const PixelSize size = covering(uprightSize(frame), cover);
    const int stride = aligned(size.width * 4);
    const RecycledMemory::Block memory = previewMemory_.take(bytesIn(stride, size.height));
    const RenderedPicture result{size.width, size.height, static_cast<std::size_t>(stride), memory};
    const Orientation orientation = orientationOf(frame, false);
    if (orientation == Orientation()) {
        AVFrame target{};
        target.format = AV_PIX_FMT_BGR0;
        target.width = size.width;
        target.height = size.height;
        target.data[0] = memory.get();
        target.linesize[0] = stride;
        return previewScaler_.scale(picture, reducedPart(frame, picture), target) ? result
                                                                                  : RenderedPicture();
    }
    const auto [width, height] =
        orientation.swapsAxes ? PixelSize{size.height, size.width} : PixelSize{size.width, size.height};
    if (!provide(*turnedPreview_, AV_PIX_FMT_BGR0, width, height) ||
        !previewScaler_.scale(picture, reducedPart(frame, picture), *turnedPreview_))
        return {};
    copyTurned<std::uint32_t>(*turnedPreview_, 0, width, height, orientation, memory.get(), stride);
    return result;
}

std::shared_ptr<const CVPixelBuffer> CameraConverter::pixelBuffer(const CameraFrame& frame,
                                                                  const AVFrame& picture, bool isMirrored) {
    const PixelRect part = reducedPart(frame, picture);
    const auto result = std::make_shared<CameraPixelBuffer>(uprightSize(frame), movieMemory_);
    const CameraColors colors =
        isRgb(static_cast<AVPixelFormat>(picture.format))
            ? CameraColors{true, false}
            : CameraColors{picture.colorspace == AVCOL_SPC_BT709, picture.color_range == AVCOL_RANGE_JPEG};
    const Orientation orientation = orientationOf(frame, isMirrored);
    if (orientation == Orientation()) {
        AVFrame target{};
        target.format = AV_PIX_FMT_NV12;
        target.width = result->width;
        target.height = result->height;
        target.data[0] = result->writableLuma();
        target.data[1] = result->writableChroma();
        target.linesize[0] = result->lumaStride;
        target.linesize[1] = result->chromaStride;
        if (!movieScaler_.scale(picture, part, target)) return nullptr;
        convertToVideoColors(target, colors);
        return result;
    }
    const int width = part.width / 2 * 2;
    const int height = part.height / 2 * 2;
    if (!provide(*turnedMovie_, AV_PIX_FMT_NV12, width, height) ||
        !movieScaler_.scale(picture, part, *turnedMovie_))
        return nullptr;
    convertToVideoColors(*turnedMovie_, colors);
    copyTurned<std::uint8_t>(*turnedMovie_, 0, width, height, orientation, result->writableLuma(),
                             result->lumaStride);
    copyTurned<std::uint16_t>(*turnedMovie_, 1, width / 2, height / 2, orientation, result->writableChroma(),
                              result->chromaStride);
    return result;
}

}  // namespace lumicrate::media
