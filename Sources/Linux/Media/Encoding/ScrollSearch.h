// SPDX-License-Identifier: GPL-3.0-or-later
// ScrollSearch: finds out that a large part of the picture was scrolled, and how far.
//
// The luma is sampled in narrow strips, upright ones for vertical scrolling and level ones for horizontal
// scrolling. Each line across a strip is reduced to a hash. A place in a strip is recognised by the hashes of
// some lines from there on. Places that occur exactly once in the previous picture's strip vote for the
// distance from there; the distance with nearly all votes is the scroll.
//
// Example: a page moves up by 45 lines. The lines from 500 on have the hashes that the lines from 545 on had
// before, and so it is at a thousand other places: the distance is (0, −45). In a film hardly any place is
// found again.
//
// The result is a hint: samples may agree where other pixels differ.
#pragma once

#include "Platform/CMSampleBuffer.h"

#include <cstdint>
#include <optional>
#include <vector>

namespace lumicrate::media {

/// Pixels from where something was in the previous picture to where it is now; one of both is 0.
struct ScrollDistance {
    int x = 0;
    int y = 0;
    bool operator==(const ScrollDistance&) const = default;
};

/// One thread at a time.
class ScrollSearch {
 public:
    /// Size in pixels. Pictures smaller than 64 pixels are never searched.
    ScrollSearch(int width, int height);

    /// Reads a picture that differs from the last one only within `changes`. Returns how far most of what
    /// changed was scrolled; nothing when less than a sixteenth of the picture changed. In lasting motion
    /// without any scrolling only some pictures are searched.
    std::optional<ScrollDistance> update(const CVPixelBuffer& picture, const std::vector<PixelRect>& changes);
    /// Whether a block of 16 × 16 pixels shows what the last picture had at the distance that update()
    /// returned. The block is given in blocks from the top left one.
    bool isScrolled(int column, int row) const;

 private:
    struct Strip {
        int place = 0;  ///< of its first sample, across the strip
        std::vector<std::uint32_t> now;
        std::vector<std::uint32_t> before;
    };
    class Votes;

    static std::vector<Strip> makeStrips(int length, int breadth);
    void sample(const CVPixelBuffer& picture, const PixelRect& changes);
    void search();
    static std::optional<int> distanceIn(const std::vector<Strip>& strips, int length);

    int width_;
    int height_;
    std::vector<Strip> upright_;
    std::vector<Strip> level_;
    bool isSampled_ = false;  ///< the strips have the last picture's hashes
    int failures_ = 0;        ///< searches in a row that found nothing
    int skips_ = 0;           ///< pictures to skip
    std::optional<ScrollDistance> distance_;
};

}  // namespace lumicrate::media
