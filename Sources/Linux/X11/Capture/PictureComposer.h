// PictureComposer: turns the captured pixels into the pictures that a stream delivers.
//
// It knows how the source lies in the picture (one to one, or scaled, with bars), keeps account of what has
// changed since the last picture, and brings a buffer up to date by drawing no more than it lacks.
#pragma once

#include "Linux/X11/Capture/CursorOverlay.h"
#include "Linux/X11/Pixels/BgraPicture.h"
#include "Linux/X11/Pixels/BlockRegion.h"
#include "Linux/X11/Pixels/PictureScaler.h"
#include "Linux/X11/Pixels/PixelBufferPool.h"

#include <optional>

namespace lumicrate::x11 {

/// Where a source of one size lies in a picture of another: filling it, or as large as fits with its own
/// shape, in the middle.
PixelRect placement(int sourceWidth, int sourceHeight, int width, int height, bool preservesAspectRatio);

class PictureComposer {
 public:
    /// Of the pictures, pixels.
    PictureComposer(int width, int height);

    /// Sets the source's shape. Everything is dirty afterwards.
    void setSource(int width, int height, bool preservesAspectRatio);

    /// The source changed there.
    void invalidate(const BlockRegion& source);
    void invalidate(const PixelRect& source);
    /// Where the next picture differs from the last one.
    const BlockRegion& dirty() const { return dirty_; }

    /// Draws the picture into a buffer that has been told of what is dirty; then nothing is dirty or stale.
    /// The source is as before when this returns.
    void compose(BgraPicture& source, const CursorOverlay& cursor, PixelBuffer& buffer);

 private:
    int width_;
    int height_;
    PixelRect placement_;
    BlockRegion dirty_;
    // Only for a source that has another size than the picture:
    std::optional<PictureScaler> scaler_;
    BgraPicture scaled_;
};

}  // namespace lumicrate::x11
