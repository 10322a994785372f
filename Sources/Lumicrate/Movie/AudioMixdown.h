// AudioMixdown: one audio track for a finished recording that has several.
#pragma once

#include "Lumicrate/Movie/AudioMixing.h"
#include "Platform/AVAsset.h"
#include "Platform/NSFileManager.h"
#include "Support/DispatchQueue.h"
#include "Support/Executor.h"
#include "Support/LongWork.h"
#include "Support/Published.h"

#include <filesystem>
#include <memory>
#include <optional>

namespace lumicrate {

class AudioMixdown final : public AudioMixing {
 public:
    /// All must outlive it. `makeQueue` makes the queue on which the work is done, when there is some.
    AudioMixdown(Executor& executor, DispatchQueueFactory makeQueue, const AVAssets& assets,
                 NSFileManager& files);

    /// What it throws when mixing has failed also tells that the movie is still there.
    Task<bool> mixIfNeeded(std::filesystem::path url) override;
    /// The part that is done, 0 … 1, while something is being mixed. Main thread.
    const Published<std::optional<double>>& progress() const { return *progress_; }

    /// The same at once, on this thread. Mixes the audio tracks of the movie at `url` into one and puts the
    /// result in its place in a single step; false when there are fewer than two. Throws
    /// NoRoomToMix and what the platform throws, leaving the movie as it was and no other file.
    static bool mixIfNeeded(const AVAssets& assets, NSFileManager& files, const std::filesystem::path& url,
                            const LongWork& work);

 private:
    Executor& executor_;
    DispatchQueueFactory makeQueue_;
    const AVAssets& assets_;
    NSFileManager& files_;
    /// Shared with what is still on its way to the main thread when this goes.
    std::shared_ptr<Published<std::optional<double>>> progress_ =
        std::make_shared<Published<std::optional<double>>>();
    std::unique_ptr<DispatchQueue> queue_;
};

}  // namespace lumicrate
