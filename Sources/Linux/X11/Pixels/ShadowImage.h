// ShadowImage: our copy of the captured part of the screen, which tells what in it really changed.
#pragma once

#include "Linux/X11/Pixels/BgraPicture.h"
#include "Linux/X11/Pixels/BlockRegion.h"
#include "Support/Geometry.h"

namespace lumicrate::x11 {

class ShadowImage {
 public:
    /// Black at first.
    ShadowImage(int width, int height) : picture_(width, height) {}

    /// Takes over pixels whose top-left one belongs at (x, y), all of them inside the image, and adds the
    /// blocks in which a colour differed to `changed`. What was only painted over with the same stays out.
    void merge(int x, int y, const BgraView& pixels, BlockRegion& changed);

    /// Takes over a picture of the whole image, memory and all, and adds the blocks in which a colour
    /// differed.
    void replace(BgraPicture fresh, BlockRegion& changed);

    /// Makes everything outside `inside` black, adding what was not to `changed`.
    void blackenOutside(const PixelRect& inside, BlockRegion& changed);

    /// For whoever composes on top; must be put back as it was.
    BgraPicture& picture() { return picture_; }
    const BgraPicture& picture() const { return picture_; }

 private:
    void blacken(const PixelRect& rect, BlockRegion& changed);

    BgraPicture picture_;
};

}  // namespace lumicrate::x11
