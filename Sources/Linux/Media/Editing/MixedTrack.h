// SPDX-License-Identifier: GPL-3.0-or-later
// MixedTrack: the sound tracks of a movie as one track.
#pragma once

#include "Linux/Media/Editing/EncodedSound.h"
#include "Linux/Media/Editing/InputMovie.h"

#include <filesystem>
#include <vector>

namespace lumicrate::media {

/// Decodes the tracks that are heard together, adds them at their times and encodes the sum: AAC, 48000 Hz.
/// The new track begins at time zero of the movie and ends with the last of the tracks.
///
/// Every track has full gain. Where the sum would clip, and only there, PeakLimiter reduces it.
class MixedTrack final : public TrackWriter {
 public:
    /// `channels` is 1 or 2.
    explicit MixedTrack(const InputMovie& source, int bitRate = 192'000, int channels = 2);

    void addTo(OutputMovie& movie) override;
    void write() override;

 private:
    std::filesystem::path source_;
    std::vector<int> tracks_;
    double duration_;
    int channels_;
    const char* name_;
    EncodedSound sound_;
};

}  // namespace lumicrate::media
