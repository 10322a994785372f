// SPDX-License-Identifier: GPL-3.0-or-later
// UncoveredBlocks: finds the blocks of a moving picture that show what the previous picture did not have.
//
// The motion of most of the picture is searched with samples. A block is uncovered if it differs from the
// previous picture both at its own place and at the place that this motion gives.
//
// Example: the camera of a film pans by (−3, 1) pixels while a figure walks. Uncovered are the columns that
// come into view at the right, the figure, and what it had hidden. Only these blocks bring new content, and
// all later pictures will copy them.
#pragma once

#include "Platform/CMSampleBuffer.h"

#include <cstdint>
#include <span>
#include <utility>
#include <vector>

namespace lumicrate::media {

/// One thread at a time.
class UncoveredBlocks {
 public:
    /// Size in pixels.
    UncoveredBlocks(int width, int height);

    /// Compares a picture with that of the last call. `constant` has a flag for each block of 16 × 16 pixels
    /// in raster order: 1 if it is known to be unchanged.
    void update(const CVPixelBuffer& picture, std::span<const std::uint8_t> constant);
    /// The next picture is not compared.
    void forget() { hasPrevious_ = false; }
    /// A flag for each block: 1 if it is uncovered. Empty if that is not known, and if more than a quarter of
    /// the picture is uncovered: then it is not moved, but new.
    std::span<const std::uint8_t> flags() const { return flags_; }

 private:
    struct Vector {
        int x = 0;  ///< pixels, from a place in the picture to the same content in the previous one
        int y = 0;
    };

    void compare(const CVPixelBuffer& picture, std::span<const std::uint8_t> constant);
    void search(const CVPixelBuffer& picture, std::span<const std::uint8_t> constant);
    Vector bestWithin(int reach, Vector center, const CVPixelBuffer& picture, std::int64_t& difference) const;
    std::int64_t differenceAt(Vector vector, const CVPixelBuffer& picture) const;
    bool isAt(Vector vector, int column, int row, const CVPixelBuffer& picture) const;

    int width_;
    int height_;
    int columns_;
    int rows_;
    std::vector<std::uint8_t> previous_;  ///< luma
    bool hasPrevious_ = false;
    Vector motion_;
    int skips_ = 0;  ///< pictures without a wide search
    std::vector<std::pair<int, int>> samples_;
    std::vector<std::uint8_t> flags_;
};

}  // namespace lumicrate::media
