// SPDX-License-Identifier: GPL-3.0-or-later
// CleanedTrack: the voice of a sound track, without its noise, as a track of its own.
#pragma once

#include "Linux/Media/Editing/CleanVoice.h"
#include "Linux/Media/Editing/EncodedSound.h"

#include <optional>

namespace lumicrate::media {

/// AAC, 48000 Hz. The voice stays in its place to the sample.
class CleanedTrack final : public TrackWriter {
 public:
    /// `gain` in dB; without it, the voice is as loud as it was.
    CleanedTrack(const VoiceInput& voice, std::optional<double> gain);

    void addTo(OutputMovie& movie) override;
    void write() override;

 private:
    VoiceInput voice_;
    std::optional<double> gain_;
    EncodedSound sound_;
    OutputMovie* movie_ = nullptr;
};

}  // namespace lumicrate::media
