// SPDX-License-Identifier: GPL-3.0-or-later
// TrackEncoder: encodes one track's samples into a movie file.
#pragma once

#include "Linux/Media/MovieFile/MovieDestination.h"
#include "Platform/CMSampleBuffer.h"
#include "Support/MediaTime.h"

#include <chrono>
#include <optional>

namespace lumicrate::media {

/// Where a movie ends, measured from its session's start.
struct MovieEnd {
    CMTime time;
    /// The end was requested, so every track ends there; otherwise it is just where the pictures end.
    bool isExplicit = false;
};

/// One thread at a time: open() is called by the thread that starts the writer, encode() and handleIdle() by
/// the track's own thread, finish() when that has ended. All throw PlatformError.
class TrackEncoder {
 public:
    virtual ~TrackEncoder() = default;

    /// Sets up the encoder and adds the track to the movie.
    virtual void open(MovieDestination& movie) = 0;
    /// Encodes a sample of the session that started at `sessionStart`.
    virtual void encode(const CMSampleBuffer& sample, CMTime sessionStart) = 0;
    /// How much work to save with the pictures from now on (AVAssetWriterInput::setSaving).
    virtual void setSaving(int /*level*/) {}
    /// How long to wait for the next sample before calling handleIdle(); nothing to wait without limit.
    virtual std::optional<std::chrono::milliseconds> idleTimeout() const = 0;
    /// No sample came within idleTimeout().
    virtual void handleIdle() = 0;
    /// Writes the remaining samples. Sound is extended or cut to the movie's end, if that is known.
    virtual void finish(CMTime sessionStart, std::optional<MovieEnd> end) = 0;
    /// Where the movie ends if no end is requested, from the session's start; nothing if other tracks decide.
    virtual std::optional<CMTime> decidedEnd() const = 0;
    /// The fraction of the track's queue that a sample takes; the queue is full at 1.
    virtual double roomFor(const CMSampleBuffer& sample) const = 0;
    /// Whether the disk is too far behind to encode more. Any thread.
    virtual bool isHeldUp() const = 0;
};

}  // namespace lumicrate::media
