// SPDX-License-Identifier: GPL-3.0-or-later
// DurationReader: reads the durations of recordings in the background, in small batches.
#pragma once

#include "Lumicrate/Library/RecordingFolder.h"
#include "Support/DispatchQueue.h"
#include "Support/Executor.h"
#include "Support/Published.h"
#include "Support/Task.h"

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

namespace lumicrate {

/// Every queue reads a share of the list, the newest recordings first, and reports its results every tenth
/// of a second. So a list of ten thousand recordings neither blocks the computer for long nor notifies the
/// list's observers ten thousand times. Main thread.
class DurationReader {
 public:
    struct Readers {
        /// Returns the duration of a movie in seconds, or throws anything if it cannot be read. Called on
        /// the queues, concurrently.
        std::function<double(const std::filesystem::path&)> read;
        /// At least one.
        std::vector<std::unique_ptr<DispatchQueue>> queues;
    };

    /// A recording as it was when it was scheduled.
    struct Result {
        std::filesystem::path url;
        std::uintmax_t size = 0;
        std::optional<double> duration;  ///< absent if it could not be read
    };
    using Results = std::vector<Result>;

    /// `list` returns the current recordings; `finished` receives each batch of results.
    DurationReader(Executor& executor, Readers readers, std::function<const std::vector<Recording>&()> list,
                   std::function<void(const Results&)> finished);
    DurationReader(const DurationReader&) = delete;
    DurationReader& operator=(const DurationReader&) = delete;

    Published<bool> isReading;

    /// Reads the durations that the list lacks now; batches that are running continue.
    void start();
    /// Lets failed files be read again. Otherwise they are skipped until their size changes.
    void forgetFailures() { failed_.clear(); }
    void forgetFailure(const std::filesystem::path& url) { failed_.erase(url.native()); }

 private:
    bool isMissing(const Recording& recording) const;
    Task<void> run(std::size_t queue);
    Results takeBatch();
    void release(const Results& results);

    Executor& executor_;
    Readers readers_;
    std::function<const std::vector<Recording>&()> list_;
    std::function<void(const Results&)> finished_;
    std::unordered_set<std::string> scheduled_;
    std::unordered_map<std::string, std::uintmax_t> failed_;  ///< with the size at that time
    std::size_t running_ = 0;
    std::vector<RunningTask> tasks_;  ///< one per queue
};

}  // namespace lumicrate
