// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Media/Editing/CleanedTrack.h"

#include "Linux/Media/Sound/TrackNames.h"
#include "Linux/Media/Sound/VoiceLevel.h"

#include <cstddef>
#include <vector>

namespace lumicrate::media {

namespace {

/// Those of the recorder's tracks.
constexpr int bitRateOf(std::size_t channels) {
    return channels == 1 ? 128'000 : 192'000;
}

class LeveledVoice {
 public:
    LeveledVoice(const VoiceInput& voice, double gain) : voice_(voice), level_(voice.channels, gain) {}

    /// The next piece; empty at the end.
    std::vector<float> next() {
        std::vector<float> leveled;
        while (leveled.empty() && !ended_) {
            const std::vector<float> piece = voice_.next();
            ended_ = piece.empty();
            level_.process(piece, leveled);
            if (ended_) level_.finish(leveled);
        }
        return leveled;
    }

 private:
    CleanVoice voice_;
    VoiceLevel level_;
    bool ended_ = false;
};

/// All of `voice`, as far as the work is not cancelled.
template <class Voice>
void writeAll(Voice&& voice, OutputMovie& movie, EncodedSound& sound) {
    sound.write([&] {
        movie.checkCancelled();
        return voice.next();
    });
}

}  // namespace

CleanedTrack::CleanedTrack(const VoiceInput& voice, std::optional<double> gain)
    : voice_(voice), gain_(gain), sound_(static_cast<int>(voice.channels), bitRateOf(voice.channels)) {}

void CleanedTrack::addTo(OutputMovie& movie) {
    movie_ = &movie;
    sound_.addTo(movie, trackname::cleanMicrophone, voice_.duration);
}

void CleanedTrack::write() {
    if (gain_) {
        writeAll(LeveledVoice(voice_, *gain_), *movie_, sound_);
    } else {
        writeAll(CleanVoice(voice_), *movie_, sound_);
    }
}

}  // namespace lumicrate::media
