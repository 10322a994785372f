// MovieFile: coded samples into a movie file, by way of the disk's thread.
#pragma once

#include "Linux/Media/Files/OutputFile.h"
#include "Linux/Media/Files/WriteBehind.h"
#include "Linux/Media/IsoBmff/MovieDescription.h"
#include "Linux/Media/IsoBmff/MovieFragmenter.h"
#include "Linux/Media/IsoBmff/UnfinishedMovie.h"
#include "Linux/Media/MovieFile/MovieCompletion.h"
#include "Linux/Media/MovieFile/RecoveryList.h"
#include "Platform/AVAssetWriter.h"

#include <atomic>
#include <cstdint>
#include <exception>
#include <filesystem>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <vector>

namespace lumicrate::media {

/// A coded sample. Times count ticks of its track's clock; time zero is the movie's beginning.
struct MovieSample {
    std::span<const std::uint8_t> data;
    std::int64_t time = 0;
    /// How long it lasts if it is the track's last; otherwise it lasts until the next.
    std::int64_t duration = 0;
    bool key = true;
};

/// Tracks are added, then `begin`, any number of writes, `finish` or `discard`. What has been written is a
/// movie that can be played at any time (see IsoBmff/MovieHead.h), at most about half a second behind; a file
/// that is left unfinished stays, for MovieRecovery to complete, unless there is no sample in it.
///
/// `write`, `reach` and `backlog` may be called from any thread, all else from one at a time.
class MovieFile {
 public:
    /// Nothing is touched before `begin`. `unfinished` learns of the file while it is being written.
    MovieFile(std::filesystem::path path, AVFileType type, RecoveryList unfinished);
    ~MovieFile();
    MovieFile(const MovieFile&) = delete;
    MovieFile& operator=(const MovieFile&) = delete;

    /// Gives the track's number. `bitRate` is what the track takes at most, bits a second.
    int addTrack(const isobmff::TrackDescription& description, int bitRate);
    /// Where finish puts the index.
    void setIndexPlace(IndexPlace place) { indexPlace_ = place; }
    /// Hears, once and on any thread, why nothing more can be written. What has been is not lost: `finish`
    /// completes it. Only before `begin`.
    void setOnFailure(std::function<void(std::exception_ptr)> onFailure) {
        onFailure_ = std::move(onFailure);
    }

    /// Creates the file. Throws PlatformError with the system's reason, also when something of this name
    /// exists.
    void begin();
    /// Times of a track must grow. Never waits for the disk; after a failure the sample is dropped.
    void write(int track, const MovieSample& sample);
    /// The last picture is known to have lasted until this second of the movie.
    void reach(double second);
    /// The track ends at this tick: its last picture lasts until then, and of its sound nothing is presented
    /// from then on. Once all of it has been written.
    void endTrack(int track, std::int64_t time);
    /// How full the buffer before the disk is; with 1 nothing more should be encoded.
    double backlog() const;
    /// Waits for the disk and completes the file with what is there. Throws PlatformError, when not even one
    /// sample is.
    void finish();
    /// Deletes the file.
    void discard();
    /// Whether not one sample is on the disk. Once the writing has ended.
    bool isEmpty() const;

    const std::filesystem::path& path() const { return path_; }

 private:
    void createFile();
    void pass(isobmff::MediaWrite write);
    void written(std::vector<isobmff::MediaWrite::Run> runs);
    void fail(const std::exception_ptr& error);
    void writeRest();
    void settle();

    std::filesystem::path path_;
    RecoveryList unfinished_;
    std::optional<RecoveryList::Entry> entry_;
    std::function<void(std::exception_ptr)> onFailure_;
    IndexPlace indexPlace_ = IndexPlace::front;
    std::int64_t bitRate_ = 0;
    std::optional<OutputFile> file_;

    /// Of the samples on their way to the disk.
    std::mutex fragmenting_;
    bool closed_ = false;
    std::unique_ptr<isobmff::MovieFragmenter> fragmenter_;
    std::vector<std::optional<isobmff::MediaWrite::LastDuration>> lastDurations_;
    std::vector<std::optional<std::int64_t>> trackEnds_;

    /// Of those that are there. Filled on the disk's thread.
    isobmff::UnfinishedMovie movie_;
    std::exception_ptr failure_;
    std::atomic<bool> failed_ = false;
    // Last, since its thread uses the rest.
    std::unique_ptr<WriteBehind> disk_;
};

}  // namespace lumicrate::media
