// SPDX-License-Identifier: GPL-3.0-or-later
// MovieProbe: the tracks, pictures and sound that FFmpeg's libraries find in a movie file.
//
// Edit lists and codec delays are applied, so that times are those that a player shows. Every reading starts
// from the beginning of the file. Throws std::runtime_error when the file cannot be read.
#pragma once

#include "Tests/Stage/Picture.h"

#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace lumicrate::stage {

struct Track {
    enum class Kind { Video, Audio, Other };

    int index = 0;
    Kind kind = Kind::Other;
    std::string codec;     ///< FFmpeg's name: "h264", "hevc", "aac", "gif" …
    std::string codecTag;  ///< the sample entry: "avc1", "hvc1", "mp4a"
    std::string profile;   ///< "High", "Main", "LC" …
    std::string handler;   ///< the handler's name
    int width = 0;
    int height = 0;
    std::string pixelFormat;     ///< "yuv420p"
    std::string colorPrimaries;  ///< "bt709", or "unknown"
    std::string colorTransfer;
    std::string colorMatrix;
    std::string colorRange;  ///< "tv", "pc" or "unknown"
    int sampleRate = 0;
    int channels = 0;
    double startTime = 0;  ///< seconds, of the first thing presented
    double duration = 0;   ///< seconds
    std::int64_t sampleCount = 0;
};

/// A coded sample. Times are seconds on the presentation's time line.
struct Packet {
    double pts = 0;
    double duration = 0;
    int size = 0;
    bool isKey = false;
    std::int64_t offset = 0;  ///< in the file
    std::string bytes;
};
/// The samples of each track in file order, as the file's index describes them, also those that edits hide.
std::vector<std::vector<Packet>> packetsOf(const std::filesystem::path& file);

struct Sound {
    int sampleRate = 0;
    double startTime = 0;                     ///< of sample 0, in seconds
    std::vector<std::vector<float>> samples;  ///< one vector a channel, −1 … 1
    /// Places where samples do not follow the ones before. Gaps are filled with silence.
    int discontinuities = 0;

    double timeAt(std::size_t sample) const { return startTime + static_cast<double>(sample) / sampleRate; }
    double duration() const {
        return samples.empty() ? 0 : static_cast<double>(samples[0].size()) / sampleRate;
    }
};

class MovieProbe {
 public:
    explicit MovieProbe(std::filesystem::path file);

    const std::vector<Track>& tracks() const { return tracks_; }
    /// The n-th track of a kind. Throws std::runtime_error when there are fewer.
    const Track& videoTrack(std::size_t n = 0) const { return trackOf(Track::Kind::Video, n); }
    const Track& audioTrack(std::size_t n = 0) const { return trackOf(Track::Kind::Audio, n); }
    std::size_t count(Track::Kind kind) const;
    /// Seconds, of the whole file.
    double duration() const { return duration_; }
    /// A tag of the file itself, such as "creation_time".
    std::optional<std::string> tag(const std::string& name) const;

    /// Whether the index comes before the media, so that playing can start before the whole file is there.
    bool indexInFront() const;

    /// Decodes the first video track and passes each picture, in the order of presentation, to `visitor`,
    /// which returns false to stop. Returns how many were passed.
    std::size_t visitPictures(const std::function<bool(const Picture&)>& visitor);
    /// The times of all pictures, in seconds, by decoding them.
    std::vector<double> pictureTimes();
    /// The last picture that begins at most half a millisecond after that time.
    OwnedPicture pictureAt(double seconds);
    OwnedPicture lastPicture() { return pictureAt(1e9); }

    /// Decodes the n-th audio track.
    Sound sound(std::size_t n = 0);

    std::vector<Packet> packets(int trackIndex) const {
        return packetsOf(file_).at(static_cast<std::size_t>(trackIndex));
    }

 private:
    const Track& trackOf(Track::Kind kind, std::size_t n) const;

    std::filesystem::path file_;
    std::vector<Track> tracks_;
    double duration_ = 0;
    std::map<std::string, std::string> tags_;
};

}  // namespace lumicrate::stage
