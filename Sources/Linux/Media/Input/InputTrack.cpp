// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Media/Input/InputTrack.h"

#include "Linux/Media/Input/InputSample.h"

#include <algorithm>
#include <string>

namespace lumicrate::media {

namespace {

/// Samples that may wait to be written.
constexpr double maxWaiting = 256;
/// Bits a second: thirty positions a second, with the tables that describe them.
constexpr int bitRate = 16'000;

}  // namespace

void InputTrack::open(MovieDestination& movie) {
    movie_ = &movie;
    track_ = movie.addTrack(inputTrackDescription(), bitRate);
}

void InputTrack::encode(const CMSampleBuffer& sample, CMTime sessionStart) {
    if (!sample.input) return;
    std::int64_t time = (sample.presentationTimeStamp() - sessionStart).converted(inputTimescale);
    time = std::max<std::int64_t>(time, lastTime_ ? *lastTime_ + 1 : 0);
    const std::string text = inputSample(*sample.input);
    const auto* const bytes = reinterpret_cast<const std::uint8_t*>(text.data());
    movie_->write(track_, {{bytes, text.size()}, time, 1, isKeySample(*sample.input)});
    lastTime_ = time;
}

double InputTrack::roomFor(const CMSampleBuffer& /*sample*/) const {
    return 1 / maxWaiting;
}

bool InputTrack::isHeldUp() const {
    return movie_->backlog() >= 1;
}

}  // namespace lumicrate::media
