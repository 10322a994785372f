// SPDX-License-Identifier: GPL-3.0-or-later
// PeakLimiter: prevents a sum of sounds from clipping and leaves everything else unchanged.
//
// A peak between two samples clips too, so peaks are searched at four times the rate (as in ITU-R BS.1770,
// annex 2). Where a peak exceeds full scale, the gain is reduced just enough that the peak reaches full
// scale: down along a ramp in the 5 ms before the peak, and back to one within 150 ms. Away from such peaks
// the gain is exactly one, and samples come out bit-identical.
//
// Example: a single peak of 2.0 gets the gain 0.5; samples more than 5 ms before it are unchanged.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <span>
#include <vector>

namespace lumicrate::media {

/// Interleaved sound at 48000 Hz; full scale is −1 … 1. One thread.
class PeakLimiter {
 public:
    /// `channels` is 1 or 2. All get the same gain.
    explicit PeakLimiter(std::size_t channels = 2) : channels_(channels) {}

    /// Appends all but the newest 5 ms, which are held back.
    void process(std::span<const float> sound, std::vector<float>& limited);
    /// Appends the rest. Nothing may be processed after that.
    void finish(std::vector<float>& limited);

 private:
    using Frame = std::array<float, 2>;  ///< the second is silent in mono
    /// A frame that would clip, and the gain, below one, that it may have at most.
    struct MaxGain {
        std::int64_t frame = 0;
        float gain = 1;
    };
    /// Frames of a ramp: 5 ms.
    static constexpr std::int64_t rampLength = 240;
    /// Frames on each side of an instant between two frames from which the value there is interpolated.
    static constexpr std::int64_t reach = 10;
    /// How many later frames the gain of a frame depends on.
    static constexpr std::int64_t lookAhead = rampLength + reach;
    static constexpr std::size_t ringSize = 512;

    void add(Frame frame);
    void output(std::vector<float>& limited);
    float peakAt(std::int64_t frame) const;
    float peakAfter(std::int64_t frame) const;
    void notePeak(std::int64_t frame, float peak);
    float gainFor(std::int64_t frame);
    Frame& at(std::int64_t frame) { return frames_[static_cast<std::size_t>(frame) % ringSize]; }
    const Frame& at(std::int64_t frame) const { return frames_[static_cast<std::size_t>(frame) % ringSize]; }

    std::size_t channels_;
    std::array<Frame, ringSize> frames_{};
    std::int64_t added_ = 0;
    std::int64_t written_ = 0;
    std::int64_t lastLoud_ = -ringSize;
    /// Of frames not yet written, in order. Gains increase: one with an equal or lower gain behind it is
    /// dropped. So the first is the lowest.
    std::deque<MaxGain> maxGains_;
    float target_ = 1;
    /// How much the last targets were below one. The gain is one minus their mean.
    std::array<float, rampLength> ramp_{};
    double rampSum_ = 0;
    int reductions_ = 0;  ///< how many of them are above zero
};

}  // namespace lumicrate::media
