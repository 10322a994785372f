// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Media/Editing/PlaneResampler.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <numbers>

namespace lumicrate::media {

namespace {

/// More samples than taps can lie outside.
constexpr int margin = 8;
constexpr std::size_t taps = resamplingTaps;
/// What is added of the difference to the neighbours, at twice the size and above. Chosen by the similarity
/// of enlarged text to text that was drawn at twice the size.
constexpr double maxSharpening = 0.2;

double lanczos(double x) {
    constexpr double lobes = 3;
    if (std::abs(x) < 1e-9) return 1;
    if (std::abs(x) >= lobes) return 0;
    const double angle = std::numbers::pi * x;
    return lobes * std::sin(angle) * std::sin(angle / lobes) / (angle * angle);
}

}  // namespace

/// The weights of a position sum to exactly 1, so that plain areas stay as they are.
void PlaneResampler::makeWeights(double step) {
    if (step == step_) return;
    step_ = step;
    const double sharpening = maxSharpening * std::clamp(1 / step - 1, 0.0, 1.0);
    weights_.resize(phases);
    for (std::size_t phase = 0; phase < phases; ++phase) {
        const double position = nearTap + static_cast<double>(phase) / phases;
        std::array<double, taps + 2> plain{};
        for (std::size_t i = 0; i < taps + 2; ++i)
            plain[i] = lanczos(static_cast<double>(i) - 1 - position);
        std::array<double, taps> exact{};
        double sum = 0;
        for (std::size_t i = 0; i < taps; ++i) {
            exact[i] = plain[i + 1] + sharpening * (2 * plain[i + 1] - plain[i] - plain[i + 2]);
            sum += exact[i];
        }
        int left = 1 << weightBits;
        for (std::size_t i = 0; i < taps; ++i) {
            weights_[phase][i] = static_cast<std::int16_t>(std::lround(exact[i] / sum * (1 << weightBits)));
            left -= weights_[phase][i];
        }
        std::int16_t& nearest = weights_[phase][phase < phases / 2 ? nearTap : nearTap + 1];
        nearest = static_cast<std::int16_t>(nearest + left);
    }
}

ResamplingTap PlaneResampler::tapAt(const ResampledAxis& axis, int target) const {
    // A position that is far outside is as good as one just outside.
    const double at = std::clamp(axis.origin + axis.step * target, -2.0, axis.source + 1.0);
    const auto fine = static_cast<int>(std::lround((at + margin) * phases));
    return {fine / phases - margin - static_cast<int>(nearTap),
            &weights_[static_cast<std::size_t>(fine % phases)]};
}

void PlaneResampler::prepareColumns(const ResampledAxis& columns) {
    columns_.clear();
    for (int x = 0; x < columns.target; ++x)
        columns_.push_back(tapAt(columns, x));
    padded_.resize(static_cast<std::size_t>(columns.source + 2 * margin));
    for (Row& each : rows_) {
        each.number = -1;
        each.samples.resize(static_cast<std::size_t>(columns.target));
    }
}

const std::int16_t* PlaneResampler::enlargedRow(const SourcePlane& source, int y) {
    Row& row = rows_[static_cast<std::size_t>(y) % rows_.size()];
    if (row.number == y) return row.samples.data();
    const std::uint8_t* from = source.data + y * source.stride;
    const auto end = padded_.end() - margin;
    std::copy_n(from, end - padded_.begin() - margin, padded_.begin() + margin);
    std::fill_n(padded_.begin(), margin, padded_[margin]);
    std::fill_n(end, margin, *std::prev(end));
    enlargeRow(padded_.data() + margin, columns_, row.samples.data());
    row.number = y;
    return row.samples.data();
}

void PlaneResampler::resample(const SourcePlane& source, const ResampledAxis& columns,
                              const ResampledAxis& rows, const TargetPlane& target) {
    makeWeights(columns.step);
    prepareColumns(columns);
    for (int y = 0; y < rows.target; ++y) {
        const ResamplingTap tap = tapAt(rows, y);
        std::array<const std::int16_t*, taps> blended{};
        for (std::size_t i = 0; i < taps; ++i)
            blended[i] = enlargedRow(source, std::clamp(tap.first + static_cast<int>(i), 0, rows.source - 1));
        blendRows(blended, *tap.weights,
                  {target.data + y * target.stride, static_cast<std::size_t>(columns.target)});
    }
}

}  // namespace lumicrate::media
