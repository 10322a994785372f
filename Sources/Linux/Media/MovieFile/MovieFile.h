// SPDX-License-Identifier: GPL-3.0-or-later
// MovieFile: writes encoded samples to a movie file through the disk thread (WriteBehind).
#pragma once

#include "Linux/Media/Files/OutputFile.h"
#include "Linux/Media/Files/WriteBehind.h"
#include "Linux/Media/IsoBmff/MovieDescription.h"
#include "Linux/Media/IsoBmff/MovieFragmenter.h"
#include "Linux/Media/IsoBmff/UnfinishedMovie.h"
#include "Linux/Media/MovieFile/MovieCompletion.h"
#include "Linux/Media/MovieFile/MovieRecovery.h"
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

/// An encoded sample. Times in ticks of its track's clock, from the movie's beginning.
struct MovieSample {
    std::span<const std::uint8_t> data;
    std::int64_t time = 0;
    /// Used if it is the track's last sample; otherwise it lasts until the next one.
    std::int64_t duration = 0;
    bool key = true;
};

/// Usage: addTrack() for each track, begin(), any number of write(), then finish() or discard(). The file can
/// be played at any time (see IsoBmff/MovieHead.h) and is at most about half a second behind. If neither
/// finish() nor discard() is called, it stays for MovieRecovery to complete, unless it has no samples.
///
/// write(), reach() and backlog() may be called from any thread, the others from one at a time.
class MovieFile {
 public:
    /// Nothing is created before begin(). The file is in `recordings` while it is being written.
    MovieFile(std::filesystem::path path, AVFileType type, RecoveryList recordings);
    ~MovieFile();
    MovieFile(const MovieFile&) = delete;
    MovieFile& operator=(const MovieFile&) = delete;

    /// Returns the track's number. `bitRate` is the track's maximum, bits a second.
    int addTrack(const isobmff::TrackDescription& description, int bitRate);
    /// Where finish puts the index.
    void setIndexPlace(IndexPlace place) { indexPlace_ = place; }
    /// To be set before begin(). Called once, on any thread, with the reason why nothing more can be written.
    /// finish() still completes what was written.
    void setOnFailure(std::function<void(std::exception_ptr)> onFailure) {
        onFailure_ = std::move(onFailure);
    }

    /// Creates the file. Throws PlatformError with the system's reason, also when something of this name
    /// exists.
    void begin();
    /// Times of a track must increase. Never waits for the disk; after a failure the sample is dropped.
    void write(int track, const MovieSample& sample);
    /// The last picture lasts at least until this second of the movie.
    void extendTo(double second);
    /// Ends a track at this tick: the last picture lasts until then; sound is not presented beyond it. To be
    /// called after the track's last write().
    void endTrack(int track, std::int64_t time);
    /// How full the queue to the disk is; at 1 the caller should stop encoding.
    double backlog() const;
    /// Waits for the disk and completes the file. Throws PlatformError, also when there is not even one
    /// sample.
    void finish();
    /// Deletes the file.
    void discard();
    /// Whether no sample is on the disk. Valid after finish() or discard().
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
    RecoveryList recordings_;
    std::optional<RecoveryList::Entry> entry_;
    std::function<void(std::exception_ptr)> onFailure_;
    IndexPlace indexPlace_ = IndexPlace::front;
    std::int64_t bitRate_ = 0;
    std::optional<OutputFile> file_;

    // The samples on their way to the disk:
    std::mutex fragmenting_;
    bool closed_ = false;
    std::unique_ptr<isobmff::MovieFragmenter> fragmenter_;
    std::vector<std::optional<isobmff::MediaWrite::LastDuration>> lastDurations_;
    std::vector<std::optional<std::int64_t>> trackEnds_;

    // The samples on the disk; filled on the disk thread until it is drained:
    isobmff::UnfinishedMovie movie_;
    std::exception_ptr failure_;
    std::atomic<bool> failed_ = false;
    // Destroyed first: its thread uses all of the above.
    std::unique_ptr<WriteBehind> disk_;
};

}  // namespace lumicrate::media
