// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Media/Editing/CleanVoice.h"

namespace lumicrate::media {

namespace {

/// Frames that are read at once.
constexpr std::size_t pieceLength = 8192;

}  // namespace

VoiceInput::VoiceInput(const InputMovie& movie, int number)
    : path(movie.path()),
      track(number),
      channels(movie.stream(number).codecpar->ch_layout.nb_channels == 1 ? 1 : 2),
      duration(movie.duration()) {}

CleanVoice::CleanVoice(const VoiceInput& voice)
    : channels_(voice.channels), reader_(voice.path, voice.track), cleaner_(voice.channels) {}

std::vector<float> CleanVoice::next() {
    std::vector<float> cleaned;
    while (cleaned.empty() && !ended_) {
        sound_.assign(pieceLength * SoundReader::channels, 0);
        const auto frames = static_cast<std::size_t>(reader_.addTo(sound_));
        sound_.resize(frames * SoundReader::channels);
        if (channels_ == 1) keepLeft();
        cleaner_.process(sound_, cleaned);
        ended_ = frames < pieceLength;
        if (ended_) cleaner_.finish(cleaned);
    }
    return cleaned;
}

/// The reader gives a mono sound on both channels.
void CleanVoice::keepLeft() {
    const std::size_t frames = sound_.size() / SoundReader::channels;
    for (std::size_t i = 0; i < frames; ++i)
        sound_[i] = sound_[i * SoundReader::channels];
    sound_.resize(frames);
}

}  // namespace lumicrate::media
