// SPDX-License-Identifier: GPL-3.0-or-later
// PictureScaler: scales pictures, or any part of them.
//
// Scaling down averages the area that a pixel covers; scaling up interpolates linearly. A pixel's value does
// not depend on which part is being drawn, so parts drawn at different times fit together without seams.
#pragma once

#include "Linux/Pictures/BgraPicture.h"

#include <cstdint>
#include <vector>

namespace lumicrate::pictures {

/// The source pixels and weights of each result pixel, along one axis.
class ScalingAxis {
 public:
    /// The weights of a pixel sum to `unit`.
    ScalingAxis(int source, int target, int unit);

    int first(int target) const { return spans_[static_cast<std::size_t>(target)].first; }
    int count(int target) const { return spans_[static_cast<std::size_t>(target)].count; }
    /// The weights of a pixel, one for each of its source pixels, followed by a zero for code that reads
    /// pairs.
    const std::int16_t* weights(int target) const {
        return weights_.data() + spans_[static_cast<std::size_t>(target)].weights;
    }

    /// A range of pixels, end excluded.
    struct Range {
        int begin = 0;
        int end = 0;
    };
    /// The result's pixels that depend on these source pixels.
    Range affectedBy(Range source) const;

 private:
    struct Span {
        int first = 0;
        int count = 0;
        std::size_t weights = 0;
    };

    void append(int first, const std::vector<double>& parts, int unit);

    std::vector<Span> spans_;
    std::vector<std::int16_t> weights_;
};

class PictureScaler {
 public:
    /// All sizes at least 1.
    PictureScaler(int sourceWidth, int sourceHeight, int width, int height);

    /// The part of the result that depends on that part of the source.
    PixelRect affectedBy(const PixelRect& source) const;
    /// Computes `rect` of the result and draws it into `target`, where the result's top-left pixel is at
    /// (x, y).
    void scale(const BgraView& source, const PixelRect& rect, BgraPicture& target, int x, int y);

 private:
    void addUpRows(const BgraView& source, int y, int left, int right);
    void addUpColumns(int begin, int end, int left, std::uint32_t* out) const;

    ScalingAxis horizontal_;
    ScalingAxis vertical_;
    std::vector<std::uint16_t> row_;  ///< source pixels added up vertically, 16 bits a channel
};

}  // namespace lumicrate::pictures
