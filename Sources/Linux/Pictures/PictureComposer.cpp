// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Pictures/PictureComposer.h"

#include "Linux/Pictures/Nv12Converter.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <utility>

namespace lumicrate::pictures {

PixelRect placement(int sourceWidth, int sourceHeight, int width, int height, bool preservesAspectRatio) {
    if (!preservesAspectRatio) return {0, 0, width, height};
    const double factor = std::min(double(width) / sourceWidth, double(height) / sourceHeight);
    const int scaledWidth = std::clamp(static_cast<int>(std::lround(sourceWidth * factor)), 1, width);
    const int scaledHeight = std::clamp(static_cast<int>(std::lround(sourceHeight * factor)), 1, height);
    return {(width - scaledWidth) / 2, (height - scaledHeight) / 2, scaledWidth, scaledHeight};
}

namespace {

/// Fills a part with dark grey. Its edges are even or the picture's edges.
void cover(const PixelRect& rect, const Nv12Planes& planes) {
    constexpr std::uint8_t luma = 50;
    constexpr std::uint8_t chroma = 128;
    const auto fill = [](std::uint8_t* plane, int stride, int x, int y, int width, int height,
                         std::uint8_t value) {
        for (int row = y; row < y + height; ++row)
            std::fill_n(plane + static_cast<std::ptrdiff_t>(row) * stride + x, width, value);
    };
    if (rect.isEmpty()) return;
    fill(planes.luma, planes.lumaStride, rect.x, rect.y, rect.width, rect.height, luma);
    fill(planes.chroma, planes.chromaStride, rect.x, rect.y / 2, (rect.width + 1) / 2 * 2,
         (rect.height + 1) / 2, chroma);
}

int evenBelow(int value) {
    return value & ~1;
}

}  // namespace

PictureComposer::PictureComposer(int width, int height)
    : width_(width), height_(height), dirty_(width, height) {}

void PictureComposer::setSource(int width, int height, bool preservesAspectRatio, int maxPadding) {
    const auto isPadding = [maxPadding](int pixels) { return pixels >= 0 && pixels <= maxPadding; };
    sourceWidth_ = width;
    sourceHeight_ = height;
    scaler_.reset();
    placement_ = {0, 0, width_, height_};
    if (!isPadding(width_ - width) || !isPadding(height_ - height)) {
        placement_ = placement(width, height, width_, height_, preservesAspectRatio);
        scaler_.emplace(width, height, placement_.width, placement_.height);
    }
    fitted_ = isFitted() ? BgraPicture(width_, height_) : BgraPicture();
    dirty_.addAll();
}

void PictureComposer::invalidate(const BlockRegion& source) {
    if (!isFitted()) {
        dirty_.add(source);
        return;
    }
    for (const PixelRect& rect : source.rectangles())
        invalidate(rect);
}

void PictureComposer::invalidate(const PixelRect& source) {
    if (!source.isEmpty()) dirty_.add(affectedBy(source));
}

/// The pixels of the picture that a part of the source influences.
PixelRect PictureComposer::affectedBy(const PixelRect& source) const {
    if (scaler_) return scaler_->affectedBy(source).offsetBy(placement_.x, placement_.y);
    const int right = source.maxX() < sourceWidth_ ? source.maxX() : width_;
    const int bottom = source.maxY() < sourceHeight_ ? source.maxY() : height_;
    return {source.x, source.y, right - source.x, bottom - source.y};
}

/// What is filled for a cover of the source: outwards to whole chroma samples.
PixelRect PictureComposer::filledFor(const PixelRect& cover) const {
    const PixelRect visible = cover.intersection({0, 0, sourceWidth_, sourceHeight_});
    if (visible.isEmpty()) return {};
    const PixelRect affected = affectedBy(visible);
    const int x = evenBelow(affected.x);
    const int y = evenBelow(affected.y);
    return PixelRect{x, y, evenBelow(affected.maxX() + 1) - x, evenBelow(affected.maxY() + 1) - y}
        .intersection({0, 0, width_, height_});
}

void PictureComposer::setCovers(std::vector<PixelRect> source) {
    if (source == covers_) return;
    for (const PixelRect& each : covers_)
        dirty_.add(filledFor(each));
    covers_ = std::move(source);
    for (const PixelRect& each : covers_)
        dirty_.add(filledFor(each));
}

/// Draws that part of the fitted picture.
void PictureComposer::fit(const BgraView& source, const PixelRect& rect) {
    if (scaler_) {
        scaler_->scale(source, rect.intersection(placement_).offsetBy(-placement_.x, -placement_.y), fitted_,
                       placement_.x, placement_.y);
        return;
    }
    const int copied = std::max(std::min(rect.maxX(), sourceWidth_) - rect.x, 0);
    for (int y = rect.y; y < rect.maxY(); ++y) {
        const std::uint32_t* const from = source.row(std::min(y, sourceHeight_ - 1));
        std::uint32_t* const to = fitted_.row(y) + rect.x;
        std::copy_n(from + rect.x, copied, to);
        std::fill(to + copied, to + rect.width, from[sourceWidth_ - 1]);
    }
}

void PictureComposer::compose(BgraPicture& source, const CursorOverlay& cursor, PixelBuffer& buffer) {
    const CursorOverlay::Drawn drawn(cursor, source);
    if (isFitted()) {
        for (const PixelRect& rect : dirty_.rectangles())
            fit(source.view(), rect);
    }
    const BgraView picture = isFitted() ? fitted_.view() : source.view();
    const Nv12Planes planes{buffer.writableLuma(), buffer.lumaStride, buffer.writableChroma(),
                            buffer.chromaStride};
    for (const PixelRect& rect : buffer.stale.rectangles()) {
        convertToNv12(picture, rect, planes);
        for (const PixelRect& each : covers_)
            cover(filledFor(each).intersection(rect), planes);
    }
    buffer.stale.clear();
    dirty_.clear();
}

}  // namespace lumicrate::pictures
