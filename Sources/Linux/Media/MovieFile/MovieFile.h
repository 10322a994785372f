// SPDX-License-Identifier: GPL-3.0-or-later
// MovieFile: writes encoded samples to a movie file through the disk thread (WriteBehind).
#pragma once

#include "Linux/Media/Files/OutputFile.h"
#include "Linux/Media/Files/WriteBehind.h"
#include "Linux/Media/IsoBmff/MovieDescription.h"
#include "Linux/Media/IsoBmff/MovieFragmenter.h"
#include "Linux/Media/IsoBmff/UnfinishedMovie.h"
#include "Linux/Media/MovieFile/MovieDestination.h"
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

isobmff::Brand brandOf(AVFileType type);

/// The file can be played at any time (see IsoBmff/MovieHead.h) and is at most about half a second behind. If
/// neither finish() nor discard() is called, it stays for MovieRecovery to complete, unless it has no
/// samples.
class MovieFile final : public MovieDestination {
 public:
    /// Nothing is created before begin(). The file is in `recordings` while it is being written.
    MovieFile(std::filesystem::path path, AVFileType type, RecoveryList recordings);
    ~MovieFile() override;
    MovieFile(const MovieFile&) = delete;
    MovieFile& operator=(const MovieFile&) = delete;

    int addTrack(const isobmff::TrackDescription& description, int bitRate) override;
    void setIndexPlace(IndexPlace place) override { indexPlace_ = place; }
    void setOnFailure(std::function<void(std::exception_ptr)> onFailure) override {
        onFailure_ = std::move(onFailure);
    }
    /// Creates the file. Throws PlatformError with the system's reason, also when something of this name
    /// exists.
    void begin() override;
    void write(int track, const MovieSample& sample) override;
    void extendTo(double second) override;
    void endTrack(int track, std::int64_t time) override;
    double backlog() const override;
    /// Waits until the disk has caught up so far that backlog() is below 1, or has failed.
    void waitForRoom() { disk_->waitForRoom(); }
    /// Waits for the disk and completes the file.
    void finish() override;
    void discard() override;
    bool isEmpty() const override;

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
