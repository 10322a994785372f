// SPDX-License-Identifier: GPL-3.0-or-later
// InputMovie: a finished movie file whose tracks are read packet by packet.
#pragma once

#include "Linux/Media/Editing/InputFile.h"
#include "Linux/Media/Libav.h"
#include "Platform/AVAsset.h"

#include <cstdint>
#include <filesystem>
#include <limits>
#include <optional>
#include <string>
#include <vector>

namespace lumicrate::media {

/// Times are those of the presentation: edit lists are applied, and what an edit hides before the start has
/// negative times. One thread. Everything throws PlatformError, which names the file.
class InputMovie {
 public:
    enum class Look {
        atMedia,       ///< reads the first of the media too
        atHead,        ///< reads the head only where it is complete, which is enough to copy packets
        atWhatIsLeft,  ///< as atMedia, of a movie that may be cut off or damaged: reads what can be read
    };

    explicit InputMovie(const std::filesystem::path& path, Look look = Look::atMedia);

    /// The number of the first video track that is not a cover picture.
    std::optional<int> videoTrack() const;
    /// All sound tracks in file order.
    std::vector<int> audioTracks() const;
    /// The number of the track of recorded input.
    std::optional<int> inputTrack() const;
    const AVStream& stream(int track) const { return *context_->streams[track]; }
    /// Seconds, of the whole presentation; 0 when unknown.
    double duration() const;
    /// An upper bound for the packets of a track that `range` takes, or of all without a range. Reads through
    /// the file when the head does not contain the number.
    std::int64_t packetCount(int track, const std::optional<CMTimeRange>& range = std::nullopt) const;

    /// From now on only these tracks are read.
    void select(const std::vector<int>& tracks);
    /// Moves to the last key picture of the selected video track at or before `seconds`; without a video
    /// track selected, to the sound there.
    void seek(double seconds);
    /// The next packet of the selected tracks, in file order; false at the end, or, with atWhatIsLeft, where
    /// nothing more can be read.
    bool read(AVPacket& packet);
    /// A decoder with `threads` threads; 0 for one per processor.
    OwnedCodec makeDecoder(int track, int threads = 1) const;

    /// Throws PlatformError: the file cannot be read for this reason, a clause with a full stop.
    [[noreturn]] void fail(const std::string& reason) const;

    /// Of the file, such as its creation time.
    const AVDictionary* metadata() const { return context_->metadata; }
    const std::filesystem::path& path() const { return path_; }

 private:
    void seekTo(int track, std::int64_t time);
    std::int64_t countedPackets(int track) const;
    [[noreturn]] void failWith(int error) const;

    std::filesystem::path path_;
    Look look_;
    InputContainer context_;
};

/// A range in ticks of a track's clock; by default everything.
struct TickRange {
    std::int64_t start = 0;
    std::int64_t end = std::numeric_limits<std::int64_t>::max() / 2;  ///< halved, so that differences fit

    static TickRange of(const std::optional<CMTimeRange>& range, AVRational clock);
};

/// Ticks of a track's clock in seconds.
inline double secondsOf(std::int64_t time, AVRational timeBase) {
    return static_cast<double>(time) * av_q2d(timeBase);
}

}  // namespace lumicrate::media
