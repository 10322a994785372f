// SPDX-License-Identifier: GPL-3.0-or-later
// EncodedSound: a new track of AAC sound in a movie.
#pragma once

#include "Linux/Media/Editing/OutputMovie.h"
#include "Linux/Media/Sound/ParallelAacEncoder.h"

#include <string>

namespace lumicrate::media {

/// 48000 Hz, from the movie's time zero on. Throws PlatformError, and `write` also CancelledError as
/// OutputMovie does.
class EncodedSound {
 public:
    /// `channels` is 1 or 2, the rate in bits per second.
    EncodedSound(int channels, int bitRate);

    /// Before the movie begins. `duration`, in seconds, is used to reserve room.
    void addTo(OutputMovie& movie, const std::string& title, double duration);
    /// Encodes everything and ends the track.
    void write(const ParallelAacEncoder::Source& source);

 private:
    ParallelAacEncoder encoder_;
    OutputMovie* movie_ = nullptr;
    int number_ = 0;
};

}  // namespace lumicrate::media
