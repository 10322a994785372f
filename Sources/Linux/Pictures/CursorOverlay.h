// SPDX-License-Identifier: GPL-3.0-or-later
// CursorOverlay: the pointer's image at its position, drawn over a picture.
#pragma once

#include "Linux/Pictures/BgraPicture.h"
#include "Support/Geometry.h"

#include <cstdint>
#include <memory>
#include <vector>

namespace lumicrate::pictures {

/// The pointer's image. Colours are premultiplied by the opacity in the highest byte.
struct CursorImage {
    int width = 0;
    int height = 0;
    int hotX = 0;  ///< the pixel at the pointer's position
    int hotY = 0;
    std::vector<std::uint32_t> pixels;
};

/// A value; cheap to copy.
class CursorOverlay {
 public:
    CursorOverlay() = default;
    /// With its hot spot at (x, y) of the picture.
    CursorOverlay(std::shared_ptr<const CursorImage> image, int x, int y);

    /// Where it covers the picture; may reach outside.
    const PixelRect& frame() const { return frame_; }
    CursorOverlay offsetBy(int dx, int dy) const;
    bool operator==(const CursorOverlay&) const = default;

    /// Draws the cursor into the picture; its destructor restores the pixels.
    class Drawn {
     public:
        Drawn(const CursorOverlay& cursor, BgraPicture& picture);
        ~Drawn();
        Drawn(const Drawn&) = delete;
        Drawn& operator=(const Drawn&) = delete;

     private:
        BgraPicture& picture_;
        PixelRect covered_;
        std::vector<std::uint32_t> below_;
    };

 private:
    std::shared_ptr<const CursorImage> image_;
    PixelRect frame_;
};

/// The parts of a picture with these bounds that change when one cursor replaces another.
std::vector<PixelRect> placesOfChange(const CursorOverlay& before, const CursorOverlay& after,
                                      const PixelRect& bounds);

}  // namespace lumicrate::pictures
