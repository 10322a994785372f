// SPDX-License-Identifier: GPL-3.0-or-later
// ShadowImage: a copy of the captured pixels that detects which blocks really changed.
#pragma once

#include "Linux/Pictures/BgraPicture.h"
#include "Linux/Pictures/BlockRegion.h"
#include "Support/Geometry.h"

namespace lumicrate::pictures {

class ShadowImage {
 public:
    /// All black.
    ShadowImage(int width, int height) : picture_(width, height) {}

    /// Copies pixels to (x, y) and adds to `changed` the blocks in which a colour differed. All pixels must
    /// lie inside the image. Repainting with the same colours changes nothing.
    void merge(int x, int y, const BgraView& pixels, BlockRegion& changed);

    /// Replaces the whole image, taking over the picture's memory, and adds the blocks in which a colour
    /// differed.
    void replace(BgraPicture fresh, BlockRegion& changed);

    /// Makes everything outside `inside` black, and adds the blocks that were not.
    void blackenOutside(const PixelRect& inside, BlockRegion& changed);

    /// For drawing on top temporarily; the pixels must be restored.
    BgraPicture& picture() { return picture_; }
    const BgraPicture& picture() const { return picture_; }

 private:
    void blacken(const PixelRect& rect, BlockRegion& changed);

    BgraPicture picture_;
};

}  // namespace lumicrate::pictures
