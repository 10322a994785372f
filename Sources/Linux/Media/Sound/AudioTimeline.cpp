// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Media/Sound/AudioTimeline.h"

#include <algorithm>
#include <cmath>

namespace lumicrate::media {

namespace {

/// A larger deviation, in seconds, is a gap or an overlap, not drift. Less than the shortest stretch that a
/// starved sound server loses, which is possible because timestamps are smooth.
constexpr double tolerance = 0.008;
/// Seconds over which jitter is averaged, and over which a deviation is corrected.
constexpr double averaging = 1;
constexpr double correcting = 4;
/// The maximum change of the length of a piece: 0.2 %, a thirtieth of a semitone.
constexpr double maxStretch = 0.002;

}  // namespace

AudioPlacement AudioTimeline::place(CMTime stamp, std::int64_t frames) {
    if (frames <= 0) return {};
    const std::int64_t position = (stamp - start_).converted(sampleRate_);
    const std::int64_t deviation = position - length_;
    const bool near = std::abs(static_cast<double>(deviation)) <= tolerance * sampleRate_;

    AudioPlacement placement;
    if (following_ && near) {
        placement.take = frames;
        placement.make = follow(deviation, frames);
    } else {
        placement.silence = std::max<std::int64_t>(deviation, 0);
        placement.skip = std::min(std::max<std::int64_t>(-deviation, 0), frames);
        placement.take = placement.make = frames - placement.skip;
        deviation_ = 0;
        pending_ = 0;
        following_ = following_ || placement.take > 0;
    }
    length_ += placement.silence + placement.make;
    return placement;
}

/// The number of frames to make of `frames`, so that the deviation slowly disappears.
std::int64_t AudioTimeline::follow(std::int64_t deviation, std::int64_t frames) {
    const double seconds = static_cast<double>(frames) / sampleRate_;
    deviation_ += (static_cast<double>(deviation) - deviation_) * std::min(1.0, seconds / averaging);
    const double correction = deviation_ / (correcting * sampleRate_);
    const double stretch = std::clamp(correction, -maxStretch, maxStretch);
    pending_ += stretch * static_cast<double>(frames);
    const double maxChange = std::floor(maxStretch * static_cast<double>(frames)) + 1;
    const double change = std::clamp(std::trunc(pending_), -maxChange, maxChange);
    pending_ -= change;
    return std::max<std::int64_t>(frames + static_cast<std::int64_t>(change), 1);
}

std::int64_t AudioTimeline::padTo(CMTime end) {
    const std::int64_t missing = std::max<std::int64_t>((end - start_).converted(sampleRate_) - length_, 0);
    length_ += missing;
    following_ = following_ && missing == 0;
    return missing;
}

}  // namespace lumicrate::media
