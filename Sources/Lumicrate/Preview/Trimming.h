// Trimming: saves a range of a recording, as a copy or in its place.
#pragma once

#include "Platform/AVAsset.h"
#include "Platform/NSFileManager.h"
#include "Support/DispatchQueue.h"
#include "Support/Executor.h"
#include "Support/LongWork.h"
#include "Support/Notifications.h"
#include "Support/Task.h"

#include <exception>
#include <filesystem>
#include <string>

namespace lumicrate {

class TemporaryFile;

class Trimming {
 public:
    struct Request {
        std::filesystem::path url;
        CMTimeRange range;  ///< of what the recording presents
        bool precise = false;
        /// The range takes the recording's place instead of becoming a file of its own.
        bool replacing = false;
    };

    /// Both must outlive it.
    Trimming(const AVAssets& assets, NSFileManager& files) : assets_(assets), files_(files) {}

    /// Saves the range and gives the file that it is in. Blocks; any thread. Throws what the platform throws,
    /// and CancelledError; then the recording is as it was, and nothing is left beside it.
    std::filesystem::path save(const Request& request, const LongWork& work) const;

    /// What a person is told of a failure.
    static std::string message(const std::exception_ptr& error);

 private:
    AVAssetExportPreset presetFor(const Request& request) const;
    static std::filesystem::path put(TemporaryFile& temporary, const Request& request);

    const AVAssets& assets_;
    NSFileManager& files_;
};

/// The same off the main thread, where it is awaited; then tells everybody that recordings have changed. All
/// must outlive the task, and `trimming` the queue's work.
Task<std::filesystem::path> saveInBackground(Executor& executor, DispatchQueue& queue,
                                             const Trimming& trimming,
                                             const NotificationCenter& notifications,
                                             Trimming::Request request, LongWork work);

}  // namespace lumicrate
