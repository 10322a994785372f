// InputMovie: a finished movie file whose tracks are read packet by packet.
#pragma once

#include "Linux/Media/Editing/Libav.h"
#include "Linux/Media/MovieFile/InputContainer.h"
#include "Platform/AVAsset.h"

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace lumicrate::media {

/// Times are the presentation's: edit lists are applied, and what an edit hides before the start has negative
/// times. One thread. Everything throws PlatformError, which names the file.
class InputMovie {
 public:
    enum class Look {
        closely,  ///< also at the first of the media
        briefly,  ///< as far as the head tells, which is enough to copy
    };

    /// Reads the head.
    explicit InputMovie(const std::filesystem::path& path, Look look = Look::closely);

    /// The first video track that is more than a cover picture; its number in the file.
    std::optional<int> videoTrack() const;
    /// All sound tracks, in the file's order.
    std::vector<int> audioTracks() const;
    const AVStream& stream(int track) const { return *context_->streams[track]; }
    /// The whole presentation's length in seconds; 0 for none.
    double duration() const;
    /// At least how many packets of a track it takes to present `range`, or all without one. Where the head
    /// does not tell, the file is read through.
    std::int64_t packetCount(int track, const std::optional<CMTimeRange>& range = std::nullopt) const;

    /// Leaves the other tracks alone from now on.
    void select(const std::vector<int>& tracks);
    /// Goes to the last key picture of the selected video track at or before `seconds`, or where there is no
    /// picture, to sound at or before that.
    void seek(double seconds);
    /// The next packet of the selected tracks, as they lie in the file; false at the end.
    bool read(AVPacket& packet);
    /// A decoder for the track, which has `threads` threads; 0 for as many as there are processors.
    OwnedCodec makeDecoder(int track, int threads = 1) const;

    /// For whoever finds that a track cannot be understood.
    [[noreturn]] void fail(const std::string& reason) const;

    /// What the file says of itself, such as when it was made.
    const AVDictionary* metadata() const { return context_->metadata; }
    const std::filesystem::path& path() const { return path_; }

 private:
    void seekTo(int track, std::int64_t time);
    std::int64_t countedPackets(int track) const;
    [[noreturn]] void failWith(int error) const;

    std::filesystem::path path_;
    InputContainer context_;
};

/// A time of a track's clock in seconds.
inline double secondsOf(std::int64_t time, AVRational timeBase) {
    return static_cast<double>(time) * av_q2d(timeBase);
}

}  // namespace lumicrate::media
