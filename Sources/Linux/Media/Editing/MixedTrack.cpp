// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Media/Editing/MixedTrack.h"

#include "Linux/Media/Editing/SoundReader.h"
#include "Linux/Media/Editing/SoundTracks.h"
#include "Linux/Media/Sound/PeakLimiter.h"
#include "Linux/Media/Sound/TrackNames.h"

#include <algorithm>
#include <cstdint>
#include <list>

namespace lumicrate::media {

namespace {

/// Frames that are mixed at once.
constexpr std::size_t pieceLength = 8192;

/// The sum of the tracks, piece by piece.
class Mix {
 public:
    Mix(const std::filesystem::path& source, const std::vector<int>& tracks) {
        for (const int track : tracks)
            readers_.emplace_back(source, track);
    }

    /// The next piece; empty at the end.
    std::vector<float> next() {
        std::vector<float> limited;
        while (limited.empty() && !ended_) {
            sum_.assign(pieceLength * SoundReader::channels, 0);
            std::int64_t frames = 0;
            for (SoundReader& reader : readers_)
                frames = std::max(frames, reader.addTo(sum_));
            sum_.resize(static_cast<std::size_t>(frames) * SoundReader::channels);
            limiter_.process(sum_, limited);
            ended_ = frames < static_cast<std::int64_t>(pieceLength);
            if (ended_) limiter_.finish(limited);
        }
        return limited;
    }

 private:
    std::list<SoundReader> readers_;
    PeakLimiter limiter_;
    std::vector<float> sum_;
    bool ended_ = false;
};

std::vector<float> inMono(const std::vector<float>& stereo) {
    std::vector<float> mono(stereo.size() / 2);
    for (std::size_t i = 0; i < mono.size(); ++i)
        mono[i] = (stereo[2 * i] + stereo[2 * i + 1]) / 2;
    return mono;
}

}  // namespace

MixedTrack::MixedTrack(const InputMovie& source, int bitRate, int channels)
    : source_(source.path()),
      tracks_(heardTracks(source)),
      duration_(source.duration()),
      channels_(channels),
      name_(hasCleanVoice(source) ? trackname::cleanMixed : trackname::mixed),
      sound_(channels, bitRate) {}

void MixedTrack::addTo(OutputMovie& movie) {
    sound_.addTo(movie, name_, duration_);
}

void MixedTrack::write() {
    Mix mix(source_, tracks_);
    sound_.write([&mix, this] {
        std::vector<float> sound = mix.next();
        return channels_ == 1 ? inMono(sound) : sound;
    });
}

}  // namespace lumicrate::media
