// TrackWriter: one track of a new movie or some, and where their packets come from.
#pragma once

#include "Linux/Media/Editing/OutputMovie.h"

namespace lumicrate::media {

class TrackWriter {
 public:
    virtual ~TrackWriter() = default;
    /// Before the movie begins, which must outlive the writer's work. Throws PlatformError.
    virtual void addTo(OutputMovie& movie) = 0;
    /// After it has begun, on any one thread: writes all packets and ends the tracks. Throws PlatformError,
    /// and CancelledError once the movie is abandoned or the work given up.
    virtual void write() = 0;
};

}  // namespace lumicrate::media
