// TrackEncoder: what turns one track's samples into a movie file's.
#pragma once

#include "Linux/Media/MovieFile/MovieFile.h"
#include "Platform/CMSampleBuffer.h"
#include "Support/MediaTime.h"

#include <chrono>
#include <optional>

namespace lumicrate::media {

/// Where a movie ends, from its session's start.
struct MovieEnd {
    CMTime time;
    /// Every track ends there, and not only where the pictures happen to end.
    bool isTold = false;
};

/// Used by one thread at a time: `open` by the one that starts the writer, `encode` and `rest` by the track's
/// own, `finish` when that has ended. All throw PlatformError.
class TrackEncoder {
 public:
    virtual ~TrackEncoder() = default;

    /// Sets up the encoder and adds the track to the file.
    virtual void open(MovieFile& file) = 0;
    /// Encodes a sample of the session that started at `sessionStart`.
    virtual void encode(const CMSampleBuffer& sample, CMTime sessionStart) = 0;
    /// How long to wait for the next sample before `rest` is to be called; nothing when it need not be.
    virtual std::optional<std::chrono::milliseconds> restsAfter() const = 0;
    /// No sample came for so long.
    virtual void rest() = 0;
    /// Writes what is left. Sound lasts until the movie's end, where that is known.
    virtual void finish(CMTime sessionStart, std::optional<MovieEnd> end) = 0;
    /// Where the movie ends if nothing else is told and this track decides it, from the session's start.
    virtual std::optional<CMTime> decidedEnd() const = 0;
    /// The part of the track's waiting room that a sample takes: with 1 it is full.
    virtual double roomFor(const CMSampleBuffer& sample) const = 0;
    /// The disk is so far behind that nothing more should be encoded. Any thread.
    virtual bool isHeldUp() const = 0;
};

}  // namespace lumicrate::media
