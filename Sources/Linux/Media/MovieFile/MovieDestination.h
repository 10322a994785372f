// SPDX-License-Identifier: GPL-3.0-or-later
// MovieDestination: where an asset writer's encoded samples go: a movie file, or the memory of a replay.
#pragma once

#include "Linux/Media/IsoBmff/MovieDescription.h"
#include "Linux/Media/MovieFile/MovieCompletion.h"

#include <cstdint>
#include <exception>
#include <functional>
#include <span>

namespace lumicrate::media {

/// An encoded sample. Times in ticks of its track's clock, from the movie's beginning.
struct MovieSample {
    std::span<const std::uint8_t> data;
    std::int64_t time = 0;
    /// Used if it is the track's last sample; otherwise it lasts until the next one.
    std::int64_t duration = 0;
    bool key = true;
};

/// Usage: addTrack() for each track, begin(), any number of write(), then finish() or discard().
///
/// write(), extendTo(), endTrack() and backlog() may be called from any thread, the others from one at a
/// time.
class MovieDestination {
 public:
    virtual ~MovieDestination() = default;

    /// Returns the track's number. `bitRate` is the track's maximum, bits a second.
    virtual int addTrack(const isobmff::TrackDescription& description, int bitRate) = 0;
    /// Where the movie's file has its index.
    virtual void setIndexPlace(IndexPlace place) = 0;
    /// To be set before begin(). Called once, on any thread, with the reason why nothing more can be written.
    /// finish() still completes what was written.
    virtual void setOnFailure(std::function<void(std::exception_ptr)> onFailure) = 0;
    /// Throws PlatformError.
    virtual void begin() = 0;
    /// Times of a track must increase. Never waits; after a failure the sample is dropped.
    virtual void write(int track, const MovieSample& sample) = 0;
    /// The last picture lasts at least until this second of the movie.
    virtual void extendTo(double second) = 0;
    /// Ends a track at this tick: the last picture lasts until then; sound is not presented beyond it. To be
    /// called after the track's last write().
    virtual void endTrack(int track, std::int64_t time) = 0;
    /// How full the queue to the disk is; at 1 the caller should stop encoding.
    virtual double backlog() const = 0;
    /// Completes the movie. Throws PlatformError, also when there is not even one sample.
    virtual void finish() = 0;
    /// Forgets the movie, and deletes its file.
    virtual void discard() = 0;
    /// Whether no sample was kept. Valid after finish() or discard().
    virtual bool isEmpty() const = 0;
};

}  // namespace lumicrate::media
