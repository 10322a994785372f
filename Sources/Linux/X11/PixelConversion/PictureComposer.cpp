// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/X11/PixelConversion/PictureComposer.h"

#include "Linux/X11/PixelConversion/Nv12Converter.h"

#include <algorithm>
#include <cmath>

namespace lumicrate::x11 {

PixelRect placement(int sourceWidth, int sourceHeight, int width, int height, bool preservesAspectRatio) {
    if (!preservesAspectRatio) return {0, 0, width, height};
    const double factor = std::min(double(width) / sourceWidth, double(height) / sourceHeight);
    const int scaledWidth = std::clamp(static_cast<int>(std::lround(sourceWidth * factor)), 1, width);
    const int scaledHeight = std::clamp(static_cast<int>(std::lround(sourceHeight * factor)), 1, height);
    return {(width - scaledWidth) / 2, (height - scaledHeight) / 2, scaledWidth, scaledHeight};
}

PictureComposer::PictureComposer(int width, int height)
    : width_(width), height_(height), dirty_(width, height) {}

void PictureComposer::setSource(int width, int height, bool preservesAspectRatio) {
    placement_ = placement(width, height, width_, height_, preservesAspectRatio);
    scaler_.reset();
    scaled_ = {};
    if (width != width_ || height != height_) {
        scaler_.emplace(width, height, placement_.width, placement_.height);
        scaled_ = BgraPicture(width_, height_);
    }
    dirty_.addAll();
}

void PictureComposer::invalidate(const BlockRegion& source) {
    if (!scaler_) {
        dirty_.add(source);
        return;
    }
    for (const PixelRect& rect : source.rectangles())
        invalidate(rect);
}

void PictureComposer::invalidate(const PixelRect& source) {
    if (source.isEmpty()) return;
    dirty_.add(scaler_ ? scaler_->affectedBy(source).offsetBy(placement_.x, placement_.y) : source);
}

void PictureComposer::compose(BgraPicture& source, const CursorOverlay& cursor, PixelBuffer& buffer) {
    const CursorOverlay::Drawn drawn(cursor, source);
    if (scaler_) {
        for (const PixelRect& rect : dirty_.rectangles()) {
            scaler_->scale(source.view(),
                           rect.intersection(placement_).offsetBy(-placement_.x, -placement_.y), scaled_,
                           placement_.x, placement_.y);
        }
    }
    const BgraView picture = scaler_ ? scaled_.view() : source.view();
    const Nv12Planes planes{buffer.writableLuma(), buffer.lumaStride, buffer.writableChroma(),
                            buffer.chromaStride};
    for (const PixelRect& rect : buffer.stale.rectangles())
        convertToNv12(picture, rect, planes);
    buffer.stale.clear();
    dirty_.clear();
}

}  // namespace lumicrate::x11
