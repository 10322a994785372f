// FrameQuantizer: decides what of each picture an animated GIF has to draw, and in which colours.
#pragma once

#include "Linux/Media/Images/ColorList.h"
#include "Linux/Media/Images/Palette.h"
#include "Platform/AVAsset.h"
#include "Support/Geometry.h"

#include <cstdint>
#include <span>
#include <vector>

namespace lumicrate::media {

/// A frame as it is drawn over what was shown before.
struct IndexedFrame {
    PixelRect area;  ///< at least one pixel
    const Palette* palette = nullptr;
    bool isFirstPalette = false;  ///< the palette is that of the first frame
    std::vector<std::uint8_t>
        indices;  ///< of the area; the number of the palette's colours lets shine through
};

/// Remembers the last picture and what was shown of it. Unchanged pixels are not drawn again, so that what
/// stands still does not flicker and costs nothing. One thread at a time.
class FrameQuantizer {
 public:
    /// All images have the size of the first. The frame is valid until the next call.
    const IndexedFrame& add(const CGImage& image);

 private:
    struct ChangedPixel {
        std::uint32_t number = 0;
        std::uint32_t color = 0;  // its number in `wanted_`
    };

    void begin(const CGImage& image);
    void findChanges(const CGImage& image);
    void choosePalette();
    std::int64_t assign(const Palette& palette);
    void draw();
    void crop();
    std::span<const std::uint8_t> rowOf(int y) const;

    int width_ = 0;
    int height_ = 0;
    std::vector<std::uint8_t> last_;     // the picture before, as it was given
    std::vector<std::uint8_t> shown_;    // what the GIF shows
    std::vector<std::uint8_t> whole_;    // indices of all the picture
    std::vector<ChangedPixel> changed_;  // what may have to be drawn
    ColorList wanted_;                   // in these colours
    Palette first_;
    Palette own_;
    std::vector<std::uint8_t> indices_;  // by the number of the wanted colour
    IndexedFrame frame_;
};

}  // namespace lumicrate::media
