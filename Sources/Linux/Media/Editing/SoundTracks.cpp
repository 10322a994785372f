// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Media/Editing/SoundTracks.h"

#include "Linux/Media/Sound/TrackNames.h"

#include <algorithm>
#include <string_view>

namespace lumicrate::media {

namespace {

/// The name of the handler, which every container of this program keeps.
std::string_view nameOf(const InputMovie& movie, int track) {
    const AVDictionaryEntry* name = av_dict_get(movie.stream(track).metadata, "handler_name", nullptr, 0);
    return name == nullptr ? std::string_view() : name->value;
}

bool isClean(const InputMovie& movie, int track) {
    const std::string_view name = nameOf(movie, track);
    return name == trackname::cleanMicrophone || name == trackname::cleanMixed;
}

}  // namespace

std::optional<int> voiceTrack(const InputMovie& movie) {
    if (hasCleanVoice(movie)) return std::nullopt;
    const std::vector<int> tracks = movie.audioTracks();
    const auto microphone = std::ranges::find_if(
        tracks, [&](int track) { return nameOf(movie, track) == trackname::microphone; });
    if (microphone != tracks.end()) return *microphone;
    const bool isVoice = tracks.size() == 1 && nameOf(movie, tracks.front()) != trackname::systemAudio;
    return isVoice ? std::optional(tracks.front()) : std::nullopt;
}

bool hasCleanVoice(const InputMovie& movie) {
    return std::ranges::any_of(movie.audioTracks(), [&](int track) { return isClean(movie, track); });
}

std::vector<int> heardTracks(const InputMovie& movie) {
    std::vector<int> tracks = movie.audioTracks();
    // An original whose clean track another program has removed is heard.
    if (hasCleanVoice(movie))
        std::erase_if(tracks,
                      [&](int track) { return nameOf(movie, track) == trackname::originalMicrophone; });
    return tracks;
}

}  // namespace lumicrate::media
