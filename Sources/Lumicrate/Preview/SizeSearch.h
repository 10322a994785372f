// SPDX-License-Identifier: GPL-3.0-or-later
// SizeSearch: finds the best settings whose result is just below a size, by measured trials.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>

namespace lumicrate {

/// Settings are one number, the position on a ladder: 0 for the smallest result, 1 for the best. Usage: ask
/// `next` for a position, try it, `add` the size, and so on until `next` returns nothing. The first position
/// is 0. Later ones are computed from an expectation of how sizes relate, which is corrected by what was
/// measured: by one trial as a whole, by two trials in proportion to the position.
class SizeSearch {
 public:
    /// Trials at most, including the first.
    static constexpr int maxTrials = 8;

    /// `expected` is the natural logarithm of the relative size at a position, increasing.
    SizeSearch(std::uint64_t maxBytes, std::function<double(double)> expected);

    std::optional<double> next() const;
    /// `bytes` may be an estimate; then the trial is not a result.
    void add(double position, double bytes, bool isEstimate);
    /// No trial may follow the next one, which therefore should be completed.
    bool isLast() const { return trials_ + 1 >= maxTrials; }
    /// Whether a trial that turns out much too small may be estimated: later ones may be the best there is.
    bool isEarly() const { return trials_ < 3; }
    /// The highest position whose complete result fits; nothing if there is none.
    std::optional<double> best() const { return best_; }

 private:
    struct Trial {
        double position = 0;
        double residual = 0;  ///< logarithm of the measured size, less the expected one
    };

    double residualAt(double position) const;

    double limit_;
    std::function<double(double)> expected_;
    int trials_ = 0;
    std::optional<Trial> below_;  ///< the highest trial that fits
    std::optional<Trial> lower_;  ///< the one below that
    std::optional<Trial> above_;  ///< the lowest one that does not
    std::optional<double> best_;
    double bestBytes_ = 0;
};

}  // namespace lumicrate
