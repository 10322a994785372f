// SPDX-License-Identifier: GPL-3.0-or-later
// AudioMixdown: mixes the audio tracks of a finished recording into one.
#pragma once

#include "Platform/AVAsset.h"
#include "Platform/NSFileManager.h"
#include "Support/DispatchQueue.h"
#include "Support/Error.h"
#include "Support/Executor.h"
#include "Support/LongWork.h"
#include "Support/Published.h"
#include "Support/Task.h"

#include <filesystem>
#include <memory>
#include <optional>

namespace lumicrate {

/// Mixing was not started because the disk cannot hold a second copy of the movie.
class NoRoomToMix : public LocalizedError {
 public:
    NoRoomToMix()
        : LocalizedError(
              localized("There is no room on the disk to mix the audio tracks; they stay apart.")) {}
};

/// What the recorder needs of the mixdown.
class AudioMixing {
 public:
    virtual ~AudioMixing() = default;
    /// Mixes the audio tracks of a finished movie into one, in place. False if there are fewer than two
    /// tracks. Throws NoRoomToMix or the platform's error and leaves the movie unchanged.
    virtual Task<bool> mixIfNeeded(std::filesystem::path url) = 0;
};

class AudioMixdown final : public AudioMixing {
 public:
    /// All must outlive the object. `makeQueue` creates the queue for the work when it is first needed.
    AudioMixdown(Executor& executor, DispatchQueueFactory makeQueue, const AVAssets& assets,
                 NSFileManager& files);

    /// The message of the exception says where the unmixed movie is.
    Task<bool> mixIfNeeded(std::filesystem::path url) override;
    /// The completed fraction, 0 … 1, while a movie is being mixed. Main thread.
    const Published<std::optional<double>>& progress() const { return *progress_; }

    /// The same, synchronously on the calling thread. The movie is replaced in a single step. Throws
    /// NoRoomToMix, CancelledError or the platform's error, and leaves the movie unchanged and no other file.
    static bool mixIfNeeded(const AVAssets& assets, NSFileManager& files, const std::filesystem::path& url,
                            const LongWork& work);

 private:
    Executor& executor_;
    DispatchQueueFactory makeQueue_;
    const AVAssets& assets_;
    NSFileManager& files_;
    /// Shared with posted updates, which may outlive this object.
    std::shared_ptr<Published<std::optional<double>>> progress_ =
        std::make_shared<Published<std::optional<double>>>();
    std::unique_ptr<DispatchQueue> queue_;
};

}  // namespace lumicrate
