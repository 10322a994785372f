// SPDX-License-Identifier: GPL-3.0-or-later
// PlaneResampler: enlarges any part of a plane of samples, at exact positions.
#pragma once

#include "Linux/Media/Editing/ResamplingKernels.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace lumicrate::media {

/// Where the samples of a result lie among those of its source, along one axis.
struct ResampledAxis {
    int source = 0;     ///< samples
    int target = 0;     ///< samples
    double origin = 0;  ///< of the first result sample: 1.5 is between the second and the third source sample
    double step = 1;    ///< from one result sample to the next, in source samples; at most 1
};

/// Eight bits a sample, top row first.
struct SourcePlane {
    const std::uint8_t* data;
    std::ptrdiff_t stride;  ///< bytes
};
struct TargetPlane {
    std::uint8_t* data;
    std::ptrdiff_t stride;  ///< bytes
};

/// Interpolates so that text stays crisp: a Lanczos filter with three lobes, sharpened the more the plane is
/// enlarged, whose results are kept between the two nearest samples, so that there are no halos. Positions
/// are exact to 1 ⁄ 2048 of a sample: a slowly moving part does not jitter. Beyond its edges a plane
/// continues with its outermost samples. One thread.
class PlaneResampler {
 public:
    /// The steps of both axes are equal.
    void resample(const SourcePlane& source, const ResampledAxis& columns, const ResampledAxis& rows,
                  const TargetPlane& target);

 private:
    static constexpr int phases = 1024;  ///< positions between two samples

    void makeWeights(double step);
    ResamplingTap tapAt(const ResampledAxis& axis, int target) const;
    void prepareColumns(const ResampledAxis& columns);
    const std::int16_t* enlargedRow(const SourcePlane& source, int y);

    double step_ = 0;  ///< of the weights
    std::vector<ResamplingWeights> weights_;
    std::vector<ResamplingTap> columns_;
    std::vector<std::int16_t> padded_;  ///< a source row with its continuation on both sides
    /// Source row y, enlarged, is in row y modulo their number.
    struct Row {
        int number = -1;
        std::vector<std::int16_t> samples;
    };
    std::array<Row, resamplingTaps> rows_;
};

}  // namespace lumicrate::media
