// SPDX-License-Identifier: GPL-3.0-or-later
// ReplayMemory: the destination that keeps the encoded samples of the last seconds.
//
// What is kept begins with a key picture, and whole intervals of key pictures are dropped: with a limit of 30
// seconds and key pictures at 0, 2, 4 … s, those from 10 s on are kept when the present is 40 … 42 s.
#pragma once

#include "Linux/Media/MovieFile/MovieDestination.h"
#include "Platform/AVReplayBuffer.h"

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <exception>
#include <functional>
#include <memory>
#include <mutex>
#include <vector>

namespace lumicrate::media {

/// Any thread. It may also pass them on: after continueInto() it is only the way to another movie.
class ReplayMemory final : public MovieDestination {
 public:
    struct Sample {
        std::shared_ptr<const std::vector<std::uint8_t>> data;
        std::int64_t time = 0;
        std::int64_t duration = 0;
        bool key = true;
    };
    struct Track {
        isobmff::TrackDescription description;
        int bitRate = 0;
        std::deque<Sample> samples;

        double seconds(std::int64_t ticks) const {
            return static_cast<double>(ticks) / description.timescale;
        }
        std::int64_t ticks(double seconds) const { return std::llround(seconds * description.timescale); }
    };
    /// A movie of its own: times count from its first picture. Sound begins before it by the lead-in of its
    /// track's description; metadata begins with it.
    struct Movie {
        std::vector<Track> tracks;
        double end = 0;  ///< seconds
    };

    explicit ReplayMemory(const AVReplayBuffer::Limits& limits) : limits_(limits) {}

    int addTrack(const isobmff::TrackDescription& description, int bitRate) override;
    void setIndexPlace(IndexPlace /*place*/) override {}
    void setOnFailure(std::function<void(std::exception_ptr)> onFailure) override;
    void begin() override {}
    void write(int track, const MovieSample& sample) override;
    void extendTo(double second) override;
    void endTrack(int track, std::int64_t time) override;
    double backlog() const override;
    void finish() override;
    void discard() override;
    bool isEmpty() const override;

    AVReplayBuffer::Contents contents() const;
    /// What is kept now. The samples are shared, not copied. Without tracks if there is no picture yet.
    Movie movie() const;
    /// Writes what is kept to `movie`, which must be new, and everything from now on. Throws what begin()
    /// throws.
    void continueInto(std::unique_ptr<MovieDestination> movie);

 private:
    MovieDestination* next() const;
    const Track* video() const;
    std::int64_t zeroOf(const Track& track) const;
    Movie kept() const;
    void trim();
    void dropBefore(std::int64_t firstPicture);
    void passOn(int track, MovieSample sample);

    const AVReplayBuffer::Limits limits_;
    mutable std::mutex mutex_;
    std::vector<Track> tracks_;
    std::deque<std::int64_t> keyTimes_;  ///< of the kept key pictures
    std::size_t bytes_ = 0;
    double reached_ = 0;  ///< seconds of the capture
    std::function<void(std::exception_ptr)> onFailure_;
    std::unique_ptr<MovieDestination> next_;  ///< where the samples go now
    double nextStart_ = 0;                    ///< its time zero, seconds of the capture
    std::vector<std::int64_t> nextZeros_;     ///< of each track: its time zero, in times of the capture
};

/// Passes the samples of all tracks on in the order of their times, so that the fragments of a file are
/// short.
void writeSamples(const ReplayMemory::Movie& movie,
                  const std::function<void(int track, const MovieSample& sample)>& write);

}  // namespace lumicrate::media
