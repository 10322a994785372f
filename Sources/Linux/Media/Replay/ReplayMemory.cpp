// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Media/Replay/ReplayMemory.h"

#include "Support/Error.h"

#include <algorithm>
#include <iterator>
#include <optional>
#include <utility>

namespace lumicrate::media {

namespace {

/// The index of the sample with which sound or metadata has to begin in order to be complete from `start` on:
/// the key sample that begins the lead-in before it, or an earlier one.
std::size_t firstSample(const ReplayMemory::Track& track, std::int64_t start) {
    const std::int64_t latest = start - track.description.leadIn;
    const auto after =
        std::ranges::upper_bound(track.samples, latest, {}, [](const auto& sample) { return sample.time; });
    const auto key = std::find_if(std::reverse_iterator(after), track.samples.rend(),
                                  [](const auto& each) { return each.key; });
    return key == track.samples.rend() ? 0 : static_cast<std::size_t>(key.base() - track.samples.begin() - 1);
}

/// What holds at time zero begins there; what was before it is gone.
void beginAtZero(ReplayMemory::Track& metadata) {
    auto& samples = metadata.samples;
    std::optional<ReplayMemory::Sample> held = samples[firstSample(metadata, 0)];
    if (!held->key || held->time > 0) held.reset();
    std::erase_if(samples, [&held](const auto& each) { return each.time < (held ? 1 : 0); });
    if (!held) return;
    held->time = 0;
    samples.push_front(std::move(*held));
}

}  // namespace

int ReplayMemory::addTrack(const isobmff::TrackDescription& description, int bitRate) {
    const std::lock_guard lock(mutex_);
    tracks_.push_back({description, bitRate, {}});
    return static_cast<int>(tracks_.size()) - 1;
}

void ReplayMemory::setOnFailure(std::function<void(std::exception_ptr)> onFailure) {
    onFailure_ = std::move(onFailure);
}

void ReplayMemory::write(int track, const MovieSample& sample) {
    const std::lock_guard lock(mutex_);
    if (next_) return passOn(track, sample);
    auto data = std::make_shared<const std::vector<std::uint8_t>>(sample.data.begin(), sample.data.end());
    Track& to = tracks_[static_cast<std::size_t>(track)];
    bytes_ += data->size();
    to.samples.push_back({std::move(data), sample.time, sample.duration, sample.key});
    if (to.description.isMetadata()) return;
    reached_ = std::max(reached_, to.seconds(sample.time));
    if (!to.description.isVideo()) return;
    if (sample.key) keyTimes_.push_back(sample.time);
    trim();
}

void ReplayMemory::passOn(int track, MovieSample sample) {
    const auto index = static_cast<std::size_t>(track);
    sample.time -= nextZeros_[index];
    // Silence that makes up for the time before it began.
    if (sample.time < -std::int64_t{tracks_[index].description.leadIn}) return;
    next_->write(track, sample);
}

void ReplayMemory::extendTo(double second) {
    const std::lock_guard lock(mutex_);
    if (next_) return next_->extendTo(second - nextStart_);
    reached_ = std::max(reached_, second);
    if (video()) trim();
}

void ReplayMemory::endTrack(int track, std::int64_t time) {
    const std::lock_guard lock(mutex_);
    if (next_) next_->endTrack(track, time - nextZeros_[static_cast<std::size_t>(track)]);
}

double ReplayMemory::backlog() const {
    const std::lock_guard lock(mutex_);
    return next_ ? next_->backlog() : 0;
}

MovieDestination* ReplayMemory::next() const {
    const std::lock_guard lock(mutex_);
    return next_.get();
}

void ReplayMemory::finish() {
    if (MovieDestination* const movie = next()) movie->finish();
}

void ReplayMemory::discard() {
    if (MovieDestination* const movie = next()) movie->discard();
}

bool ReplayMemory::isEmpty() const {
    const MovieDestination* const movie = next();
    return movie ? movie->isEmpty() : contents().bytes == 0;
}

const ReplayMemory::Track* ReplayMemory::video() const {
    const auto found =
        std::ranges::find_if(tracks_, [](const Track& each) { return each.description.isVideo(); });
    return found == tracks_.end() || found->samples.empty() ? nullptr : &*found;
}

void ReplayMemory::trim() {
    const Track& pictures = *video();
    while (keyTimes_.size() > 1) {
        const bool isEnough = reached_ - pictures.seconds(keyTimes_[1]) >= limits_.seconds;
        if (!isEnough && bytes_ <= limits_.bytes) return;
        dropBefore(keyTimes_[1]);
    }
}

void ReplayMemory::dropBefore(std::int64_t firstPicture) {
    const Track& pictures = *video();
    for (Track& track : tracks_) {
        std::size_t dropped = 0;
        if (track.description.isVideo()) {
            while (track.samples[dropped].time < firstPicture)
                ++dropped;
        } else if (!track.samples.empty()) {
            dropped = firstSample(track, track.ticks(pictures.seconds(firstPicture)));
        }
        for (; dropped > 0; --dropped) {
            bytes_ -= track.samples.front().data->size();
            track.samples.pop_front();
        }
    }
    std::erase_if(keyTimes_, [firstPicture](std::int64_t time) { return time < firstPicture; });
}

AVReplayBuffer::Contents ReplayMemory::contents() const {
    const std::lock_guard lock(mutex_);
    const Track* const pictures = video();
    if (!pictures) return {};
    return {reached_ - pictures->seconds(pictures->samples.front().time), bytes_};
}

/// The time of the first picture, in the clock of a track.
std::int64_t ReplayMemory::zeroOf(const Track& track) const {
    const Track& pictures = *video();
    return track.ticks(pictures.seconds(pictures.samples.front().time));
}

ReplayMemory::Movie ReplayMemory::movie() const {
    const std::lock_guard lock(mutex_);
    Movie movie = kept();
    std::erase_if(movie.tracks, [](const Track& each) { return each.samples.empty(); });
    return movie;
}

/// With all tracks, even those without samples.
ReplayMemory::Movie ReplayMemory::kept() const {
    const Track* const pictures = video();
    if (!pictures) return {};
    Movie movie{tracks_, reached_ - pictures->seconds(pictures->samples.front().time)};
    for (Track& track : movie.tracks) {
        for (const std::int64_t zero = zeroOf(track); Sample & sample : track.samples)
            sample.time -= zero;
        if (track.description.isVideo() || track.samples.empty()) continue;
        if (track.description.isMetadata()) {
            beginAtZero(track);
            continue;
        }
        // What came later than the pictures was not there yet when they were dropped.
        track.samples.erase(track.samples.begin(),
                            track.samples.begin() + static_cast<std::ptrdiff_t>(firstSample(track, 0)));
        const std::int64_t begin = track.samples.front().time;
        const Sample& last = track.samples.back();
        if (last.time + last.duration <= 0) {
            // Where nothing is played, no sound is captured. When it comes, its samples will not begin
            // exactly one lead-in before the pictures.
            track.samples.clear();
            track.description.leadIn *= 2;
        } else {
            track.description.leadIn = static_cast<std::uint32_t>(std::max<std::int64_t>(-begin, 0));
        }
    }
    return movie;
}

void ReplayMemory::continueInto(std::unique_ptr<MovieDestination> movie) {
    const std::lock_guard lock(mutex_);
    if (!video()) throw PlatformError(localized("Nothing was recorded."));
    const Movie begun = kept();
    for (const Track& track : begun.tracks)
        movie->addTrack(track.description, track.bitRate);
    movie->setOnFailure(onFailure_);
    movie->begin();
    writeSamples(begun, [&movie](int track, const MovieSample& sample) { movie->write(track, sample); });
    movie->extendTo(begun.end);
    nextStart_ = reached_ - begun.end;
    for (std::size_t i = 0; i < tracks_.size(); ++i) {
        nextZeros_.push_back(zeroOf(tracks_[i]));
        tracks_[i].description = begun.tracks[i].description;
    }
    for (Track& track : tracks_)
        track.samples.clear();
    bytes_ = 0;
    next_ = std::move(movie);
}

void writeSamples(const ReplayMemory::Movie& movie,
                  const std::function<void(int track, const MovieSample& sample)>& write) {
    const std::vector<ReplayMemory::Track>& tracks = movie.tracks;
    std::vector<std::size_t> next(tracks.size(), 0);
    const auto nextTime = [&](std::size_t track) {
        const std::deque<ReplayMemory::Sample>& samples = tracks[track].samples;
        return next[track] < samples.size() ? tracks[track].seconds(samples[next[track]].time) : HUGE_VAL;
    };
    while (true) {
        std::size_t first = 0;
        for (std::size_t track = 1; track < tracks.size(); ++track)
            if (nextTime(track) < nextTime(first)) first = track;
        if (nextTime(first) == HUGE_VAL) return;
        const ReplayMemory::Sample& sample = tracks[first].samples[next[first]++];
        write(static_cast<int>(first), {*sample.data, sample.time, sample.duration, sample.key});
    }
}

}  // namespace lumicrate::media
