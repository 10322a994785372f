// RecordingLengths: reads how long recordings are, off the main thread, a few at a time.
#pragma once

#include "Lumicrate/Library/Recording.h"
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

/// Each queue works on one part of the list, the newest first, and hands in what it has every tenth of a
/// second; so ten thousand recordings keep neither the machine nor the list's observers busy for long. Main
/// thread.
class RecordingLengths {
 public:
    struct Readers {
        /// Gives the length of a movie in seconds. Called on the queues, several at once. What it throws
        /// means that the length cannot be told.
        std::function<double(const std::filesystem::path&)> read;
        /// Where reading takes place; one at least.
        std::vector<std::unique_ptr<DispatchQueue>> queues;
    };

    /// A recording as it was when it was chosen to be read.
    struct Result {
        std::filesystem::path url;
        std::uintmax_t size = 0;
        std::optional<double> duration;  ///< nothing where it could not be read
    };
    using Results = std::vector<Result>;

    /// `list` gives the recordings, some without a length; `finished` puts in what was read.
    RecordingLengths(Executor& executor, Readers readers, std::function<const std::vector<Recording>&()> list,
                     std::function<void(const Results&)> finished);
    RecordingLengths(const RecordingLengths&) = delete;
    RecordingLengths& operator=(const RecordingLengths&) = delete;

    Published<bool> isReading;

    /// Begins with what is missing from the list now; what is under way goes on.
    void start();
    /// A length that could not be read is tried again from now on.
    void forgetFailures() { failed_.clear(); }
    void forgetFailure(const std::filesystem::path& url) { failed_.erase(url.native()); }

 private:
    bool isMissing(const Recording& recording) const;
    Task<void> run(std::size_t reader);
    Results takeMissing();
    void takeBack(const Results& results);

    Executor& executor_;
    Readers readers_;
    std::function<const std::vector<Recording>&()> list_;
    std::function<void(const Results&)> finished_;
    std::unordered_set<std::string> underWay_;
    std::unordered_map<std::string, std::uintmax_t> failed_;  ///< and the size that they had then
    std::size_t running_ = 0;
    std::vector<RunningTask> tasks_;  ///< one for each queue
};

}  // namespace lumicrate
