// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Player/MpvPlayer.h"

#include "Support/Log.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <utility>

namespace lumicrate::player {

namespace {

/// Pictures that follow each other faster than this need no repetition: nobody notices that playing begins
/// at the picture's beginning.
constexpr double maxGap = 0.25;

/// libmpv takes a picture up to 5 ms before the time for the right one. This much later, only the picture
/// itself is near enough.
constexpr double seekOffset = 0.0045;

std::vector<double> toSeconds(const std::vector<CMTime>& times) {
    std::vector<double> seconds;
    seconds.reserve(times.size());
    for (const CMTime time : times)
        seconds.push_back(time.seconds());
    return seconds;
}

/// The rate at which the recorder captured: one over the usual distance of neighbouring pictures. None when
/// no picture is shown for long.
std::optional<double> repeatRateFor(const std::vector<double>& times) {
    constexpr double lowest = 10;
    constexpr double highest = 60;
    std::vector<double> distances;
    double longest = 0;
    for (std::size_t i = 1; i < times.size(); ++i) {
        const double distance = times[i] - times[i - 1];
        longest = std::max(longest, distance);
        if (distance > 0) distances.push_back(distance);
    }
    if (longest <= maxGap && times.size() > 1) return std::nullopt;
    if (distances.empty()) return lowest;
    const auto quick = distances.begin() + static_cast<std::ptrdiff_t>(distances.size() / 10);
    std::nth_element(distances.begin(), quick, distances.end());
    return std::clamp(std::round(1 / *quick), lowest, highest);
}

}  // namespace

MpvPlayer::MpvPlayer(Executor& executor, const std::filesystem::path& url)
    : self_(std::make_shared<MpvPlayer*>(this)), session_(url, [&executor, self = self_] {
          executor.post([self] {
              if (*self) (*self)->handleReport();
          });
      }) {}

MpvPlayer::~MpvPlayer() {
    *self_ = nullptr;
}

void MpvPlayer::setPictureTimes(const std::vector<CMTime>& times) {
    pictureTimes_ = toSeconds(times);
    if (!pictureTimes_.empty()) repeatRate_ = repeatRateFor(pictureTimes_);
    log(LogArea::movie, "player: ", pictureTimes_.size(), " pictures, repeated at ", repeatRate_.value_or(0));
    if (state->time > 0) seekTo({state->time, Seek::exact});
}

void MpvPlayer::play() {
    if (state->isPlaying || state->status == Status::failed) return;
    double from = state->time;
    const bool outside = range_ && (from < range_->start.seconds() || from >= range_->end.seconds());
    if (outside) {
        from = range_->start.seconds();
    } else if (state->isAtEnd) {
        from = 0;
    }
    change([](State& now) { now.isPlaying = true; });
    followsPlayer_ = true;
    const bool mustMove = from != state->time || repeatRate_ || wanted_ || isSeekInFlight_;
    if (mustMove) {
        seekTo({from, Seek::exact});
    } else {
        session_.setPaused(false);
    }
}

void MpvPlayer::pause() {
    if (!state->isPlaying) return;
    session_.setPaused(true);
    change([](State& now) { now.isPlaying = false; });
    if (!repeatRate_) return;
    followsPlayer_ = false;
    seekTo({state->time, Seek::exact});
}

void MpvPlayer::seek(CMTime time, Seek how) {
    followsPlayer_ = state->isPlaying;
    seekTo({std::max(time.seconds(), 0.0), how});
}

void MpvPlayer::seekTo(Target target) {
    wanted_ = target;
    change([&](State& now) {
        now.time = target.time;
        now.isAtEnd = false;
        now.isSeeking = true;
    });
    sendNextSeek();
}

void MpvPlayer::sendNextSeek() {
    if (!wanted_ || isSeekInFlight_ || state->status != Status::ready) return;
    const Target target = *std::exchange(wanted_, std::nullopt);
    isSeekInFlight_ = true;
    playerIsAtEnd_ = false;
    repeatPictures(state->isPlaying);
    const bool isExact = target.how == Seek::exact && !pictureTimes_.empty();
    const double time = isExact && !state->isPlaying ? pictureTime(target.time) + seekOffset : target.time;
    session_.seek(time, target.how);
    // Not before, or sound from the previous position would be heard.
    if (state->isPlaying) session_.setPaused(false);
}

/// Only right before a seek: libmpv answers by a seek of its own, whose end would be taken for that of an
/// earlier one.
void MpvPlayer::repeatPictures(bool repeat) {
    if (!repeatRate_ || std::exchange(isRepeating_, repeat) == repeat) return;
    std::string filter;
    if (repeat) filter = fmt::format("fps=fps={}", *repeatRate_);
    // That filter drops the last picture. So it gets a successor, which must not make the movie longer.
    if (repeat && state->duration > 0)
        filter =
            fmt::format("lavfi=[tpad=stop=1:stop_mode=clone,{},trim=end={:.6f}]", filter, state->duration);
    session_.setVideoFilter(filter);
}

double MpvPlayer::pictureTime(double time) const {
    // Times that went through text or arithmetic may be a little before the picture they mean.
    constexpr double rounding = 1e-6;
    const auto next = std::upper_bound(pictureTimes_.begin(), pictureTimes_.end(), time + rounding);
    return next == pictureTimes_.begin() ? pictureTimes_.front() : *std::prev(next);
}

void MpvPlayer::setRate(double rate) {
    session_.setNumber("speed", rate);
}

void MpvPlayer::setVolume(double volume) {
    session_.setNumber("volume", volume * 100);
}

void MpvPlayer::setMuted(bool muted) {
    session_.setText("mute", muted ? "yes" : "no");
}

void MpvPlayer::setPlaybackRange(std::optional<CMTimeRange> range) {
    range_ = range;
    const auto text = [](CMTime time) { return fmt::format("{:.6f}", time.seconds()); };
    session_.setText("ab-loop-a", range ? text(range->start).c_str() : "no");
    session_.setText("ab-loop-b", range ? text(range->end).c_str() : "no");
}

void MpvPlayer::setPictureSize(int width, int height) {
    session_.setPictureSize(width, height);
}

RenderedPicture MpvPlayer::picture() const {
    return session_.picture();
}

void MpvPlayer::handleReport() {
    const MpvSession::Report report = session_.takeReport();
    if (report.isAtEnd) playerIsAtEnd_ = *report.isAtEnd;
    if (report.reachedSeek) isSeekInFlight_ = false;
    change([&](State& now) {
        if (report.isLoaded) now.status = Status::ready;
        if (report.duration) now.duration = *report.duration;
        if (!report.error.empty()) {
            now.status = Status::failed;
            now.error = report.error;
            now.isPlaying = false;
            now.isSeeking = false;
        }
        if (isSeekInFlight_ || wanted_) return;
        now.isSeeking = false;
        if (report.time && followsPlayer_)
            now.time = now.duration > 0 ? std::min(*report.time, now.duration) : *report.time;
        if (playerIsAtEnd_ && now.isPlaying) {
            now.isPlaying = false;
            now.isAtEnd = true;
            now.time = now.duration;
            followsPlayer_ = false;
        }
    });
    sendNextSeek();
    if (report.hasPicture) pictures_.notify();
}

void MpvPlayer::change(const std::function<void(State&)>& edit) {
    State next = *state;
    edit(next);
    if (next != *state) state = next;
}

}  // namespace lumicrate::player
