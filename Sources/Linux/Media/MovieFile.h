// MovieFile: coded samples into an MPEG-4, QuickTime or M4A file.
#pragma once

#include "Linux/Media/IsoBmff/MovieDescription.h"
#include "Platform/AVAssetWriter.h"

#include <cstdint>
#include <filesystem>
#include <memory>
#include <mutex>
#include <span>
#include <vector>

struct AVFormatContext;
struct AVPacket;

namespace lumicrate::media {

/// A coded sample. Times count ticks of its track's clock; time zero is the movie's beginning.
struct MovieSample {
    std::span<const std::uint8_t> data;
    std::int64_t time = 0;
    /// How long it lasts if it is the track's last; otherwise it lasts until the next.
    std::int64_t duration = 0;
    bool key = true;
};

/// Tracks are added, then `begin`, any number of writes, `finish`. A file that is not finished is deleted
/// with the object. `write` may be called from any thread, all else from one at a time.
class MovieFile {
 public:
    /// Creates the file. Throws PlatformError with the system's reason, also when something of this name
    /// exists.
    MovieFile(std::filesystem::path path, AVFileType type);
    ~MovieFile();
    MovieFile(const MovieFile&) = delete;
    MovieFile& operator=(const MovieFile&) = delete;

    /// Gives the track's number.
    int addTrack(const isobmff::TrackDescription& description);

    /// Puts the index before the media, so that the movie can be played while it is loaded.
    void setIndexInFront(bool inFront) { indexInFront_ = inFront; }
    /// Writes the head of the file. Throws PlatformError.
    void begin();
    /// Times of a track must grow. Throws PlatformError with the system's reason.
    void write(int track, const MovieSample& sample);
    /// Completes the file. Throws PlatformError with the system's reason.
    void finish();

    const std::filesystem::path& path() const { return path_; }

 private:
    struct FreeContext {
        void operator()(AVFormatContext* context) const;
    };
    struct FreePacket {
        void operator()(AVPacket* packet) const;
    };

    void throwIfOutputFailed() const;

    std::filesystem::path path_;
    std::unique_ptr<AVFormatContext, FreeContext> context_;
    std::unique_ptr<AVPacket, FreePacket> packet_;
    std::vector<int> timescales_;
    bool indexInFront_ = false;
    bool finished_ = false;
    std::mutex mutex_;
};

}  // namespace lumicrate::media
