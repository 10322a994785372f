// SPDX-License-Identifier: GPL-3.0-or-later
// FrameQuantizer: finds the part of each picture that an animated GIF must draw, and its palette.
#pragma once

#include "Linux/Media/Images/Palette.h"
#include "Platform/AVAsset.h"
#include "Support/Geometry.h"

#include <cstdint>
#include <span>
#include <vector>

namespace lumicrate::media {

/// A frame, drawn over what was shown before.
struct IndexedFrame {
    PixelRect area;  ///< at least one pixel
    const Palette* palette = nullptr;
    bool isFirstPalette = false;  ///< the palette is that of the first frame
    /// Of the area, row by row. The index after the last colour of the palette is transparent.
    std::vector<std::uint8_t> indices;
};

/// Pixels that do not change are not drawn again: this keeps files small, and quantization noise does not
/// flicker where the picture stands still. One thread at a time.
class FrameQuantizer {
 public:
    /// Quality as in AnimationEncoding: 1 uses all colours and draws every visible change.
    explicit FrameQuantizer(double quality = 1);

    /// All images must have the size of the first. The frame is valid until the next call.
    const IndexedFrame& add(const CGImage& image);

 private:
    struct ChangedPixel {
        std::uint32_t number = 0;
        std::uint32_t color = 0;  // its number in `targets_`
    };

    void begin(const CGImage& image);
    void findChanges(const CGImage& image);
    void choosePalette();
    std::int64_t assign(const Palette& palette);
    void draw();
    void crop();
    std::span<const std::uint8_t> rowOf(int y) const;

    int colors_;      // of a palette
    int invisible_;   // a difference that is not drawn
    int keepMargin_;  // a shown colour is kept when it is at most this much worse than the best one
    int width_ = 0;
    int height_ = 0;
    std::vector<std::uint8_t> last_;     // the picture before
    std::vector<std::uint8_t> shown_;    // what the GIF shows
    std::vector<std::uint8_t> whole_;    // indices of the whole picture
    std::vector<ChangedPixel> changed_;  // candidates for drawing
    ColorList targets_;                  // their colours
    Palette first_;
    Palette own_;
    std::vector<std::uint8_t> indices_;  // by the number of the target colour
    IndexedFrame frame_;
};

}  // namespace lumicrate::media
