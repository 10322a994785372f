// SPDX-License-Identifier: GPL-3.0-or-later
// HevcMatches: finds what comes into view of a scrolled page where it is shown already.
//
// Letters, words and lines repeat. Where a program draws them at whole pixels, most blocks of a new line of
// small text are somewhere else in the previous picture too, so a vector does instead of coefficients. The
// places of blocks are kept by their hashes, in coordinates of the page, so that they stay right while it is
// scrolled.
#pragma once

#include "Linux/Media/Encoding/HevcMotion.h"
#include "Linux/Media/Encoding/ScrollSearch.h"
#include "Platform/CMSampleBuffer.h"

#include <cstdint>
#include <optional>
#include <vector>

namespace lumicrate::media {

class HevcMatches {
 public:
    HevcMatches();

    /// Begins a picture that was scrolled.
    void scroll(const ScrollDistance& distance);
    /// Where the block of 8 × 8 pixels of the begun picture probably is in the previous one. It must be
    /// compared.
    std::optional<HevcVector> find(const CVPixelBuffer& picture, int x, int y) const;
    /// Keeps the places in and above a block of the begun picture.
    void add(const CVPixelBuffer& picture, int x, int y);

 private:
    struct Place {
        std::int32_t x = 0;
        std::int32_t y = 0;
    };

    /// Of the begun picture on the page, and of the one before.
    Place origin_;
    Place lastOrigin_;
    std::vector<Place> places_;
};

}  // namespace lumicrate::media
