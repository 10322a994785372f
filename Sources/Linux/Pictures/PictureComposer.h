// SPDX-License-Identifier: GPL-3.0-or-later
// PictureComposer: turns the captured pixels into the pictures that a stream delivers.
//
// The source fills the picture one to one, or scaled and with bars. A source that is only slightly smaller
// is shown one to one in the top left corner, with its last column and row repeated beside and below it. The
// composer tracks what has changed since the last picture and draws into a buffer only what the buffer lacks.
#pragma once

#include "Linux/Pictures/BgraPicture.h"
#include "Linux/Pictures/BlockRegion.h"
#include "Linux/Pictures/CursorOverlay.h"
#include "Linux/Pictures/PictureScaler.h"
#include "Linux/Pictures/PixelBufferPool.h"

#include <optional>
#include <vector>

namespace lumicrate::pictures {

/// Where a source lies in a picture of another size: centred, as large as its aspect ratio allows, or filling
/// the picture when the ratio is not preserved.
PixelRect placement(int sourceWidth, int sourceHeight, int width, int height, bool preservesAspectRatio);

class PictureComposer {
 public:
    /// The size of the pictures in pixels.
    PictureComposer(int width, int height);

    /// Sets the source's size. Everything is dirty afterwards. `maxPadding` is how many pixels narrower and
    /// lower than the picture a source may be that is not scaled.
    void setSource(int width, int height, bool preservesAspectRatio, int maxPadding = 0);

    /// Fills these parts of the source with one colour instead of showing them or the cursor there, enlarged
    /// to pixels that share their chroma.
    void setCovers(std::vector<PixelRect> source);

    /// The source changed there.
    void invalidate(const BlockRegion& source);
    void invalidate(const PixelRect& source);
    /// Where the next picture differs from the last one.
    const BlockRegion& dirty() const { return dirty_; }

    /// Draws the picture into a buffer whose stale region already contains dirty(). Nothing is dirty or stale
    /// afterwards. The source is modified only while this runs.
    void compose(BgraPicture& source, const CursorOverlay& cursor, PixelBuffer& buffer);

 private:
    bool isFitted() const { return sourceWidth_ != width_ || sourceHeight_ != height_; }
    void fit(const BgraView& source, const PixelRect& rect);
    PixelRect affectedBy(const PixelRect& source) const;
    PixelRect filledFor(const PixelRect& cover) const;

    int width_;
    int height_;
    int sourceWidth_ = 0;
    int sourceHeight_ = 0;
    BlockRegion dirty_;
    std::vector<PixelRect> covers_;  ///< of the source
    // Only for a source with another size than the picture:
    std::optional<PictureScaler> scaler_;  ///< unless it is padded
    PixelRect placement_;
    BgraPicture fitted_;
};

}  // namespace lumicrate::pictures
