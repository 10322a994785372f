// PictureScaler: makes a picture smaller or larger, any part of it at a time.
//
// Smaller pictures average the area that a pixel covers, larger ones interpolate between neighbours. A pixel
// of the result is computed in the same way whichever part is asked for, so that parts drawn at different
// times fit together without a seam.
#pragma once

#include "Linux/X11/Pixels/BgraPicture.h"

#include <cstdint>
#include <vector>

namespace lumicrate::x11 {

/// Which source pixels a pixel of the result is made of, along one axis.
class ScalingAxis {
 public:
    /// The weights of a pixel sum to `unit`.
    ScalingAxis(int source, int target, int unit);

    int first(int target) const { return spans_[static_cast<std::size_t>(target)].first; }
    int count(int target) const { return spans_[static_cast<std::size_t>(target)].count; }
    /// The weights of a pixel, one for each of its source pixels; a zero follows, for code that takes them
    /// in pairs.
    const std::int16_t* weights(int target) const {
        return weights_.data() + spans_[static_cast<std::size_t>(target)].weights;
    }

    /// A range of pixels, end excluded.
    struct Range {
        int begin = 0;
        int end = 0;
    };
    /// The result's pixels that some of these source pixels have a part in.
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

    /// The part of the result that changes with that part of the source.
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

}  // namespace lumicrate::x11
