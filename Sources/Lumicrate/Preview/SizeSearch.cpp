// SPDX-License-Identifier: GPL-3.0-or-later
#include "Lumicrate/Preview/SizeSearch.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace lumicrate {

namespace {

/// Parts of the limit: what a trial aims at, and what is so close that no further trial is worth its time.
constexpr double aim = 0.965;
constexpr double closeEnough = 0.93;
/// The last trial aims lower, because nothing can follow if it is too large.
constexpr double lastAim = 0.93;
/// Positions that differ less give the same result.
constexpr double minStep = 0.004;

}  // namespace

SizeSearch::SizeSearch(std::uint64_t maxBytes, std::function<double(double)> expected)
    : limit_(static_cast<double>(maxBytes)), expected_(std::move(expected)) {}

void SizeSearch::add(double position, double bytes, bool isEstimate) {
    ++trials_;
    const Trial trial{position, std::log(std::max(bytes, 1.0)) - expected_(position)};
    const bool fits = bytes <= limit_;
    if (fits && (!below_ || position >= below_->position)) {
        if (below_ && position > below_->position) lower_ = below_;
        below_ = trial;
    }
    if (!fits && (!above_ || position <= above_->position)) above_ = trial;
    if (!fits || isEstimate || (best_ && position < *best_)) return;
    best_ = position;
    bestBytes_ = bytes;
}

std::optional<double> SizeSearch::next() const {
    if (trials_ == 0) return 0;
    const bool isTop = best_ && *best_ >= 1;
    if (trials_ >= maxTrials || !below_ || isTop || bestBytes_ >= closeEnough * limit_) return std::nullopt;
    const double from = below_->position;
    // Sizes may jump between positions. What an estimate says to fit is better than a result far below it.
    if (isLast() && best_ < from) return from;
    const double to = above_ ? above_->position : 1;
    if (to - from < minStep) return best_ == from ? std::nullopt : std::optional(from);
    const double target = std::log(limit_ * (isLast() ? lastAim : aim));
    double low = from;
    double high = to;
    while (high - low > minStep / 4) {
        const double middle = (low + high) / 2;
        (expected_(middle) + residualAt(middle) <= target ? low : high) = middle;
    }
    // A complete trial at the lower end would teach nothing.
    const double lowest = best_ == from ? std::min(from + minStep, to) : from;
    return above_ ? std::max(low, lowest) : std::max(high >= 1 - minStep ? 1 : low, lowest);
}

/// Interpolated between the trials around the limit, or else extrapolated from the last two that fit.
double SizeSearch::residualAt(double position) const {
    const auto& other = above_ ? above_ : lower_;
    if (!other) return below_->residual;
    const double length = other->position - below_->position;
    const double part = length != 0 ? (position - below_->position) / length : 0;
    return below_->residual + part * (other->residual - below_->residual);
}

}  // namespace lumicrate
