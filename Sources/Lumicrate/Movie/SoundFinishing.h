// SPDX-License-Identifier: GPL-3.0-or-later
// SoundFinishing: what is done with the sound of a recording after it was saved.
#pragma once

#include "Platform/AVAsset.h"
#include "Platform/NSFileManager.h"
#include "Platform/NSUserDefaults.h"
#include "Support/DispatchQueue.h"
#include "Support/Executor.h"
#include "Support/LongWork.h"
#include "Support/Published.h"
#include "Support/Task.h"

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace lumicrate {

/// For one recording; what is absent is as stored.
struct SoundChoices {
    std::optional<bool> cleansVoice;
    std::optional<bool> normalizesVoice;
    std::optional<bool> mixes;
};

/// In this order.
struct SoundWishes {
    bool cleansVoice = false;
    bool normalizesVoice = false;  ///< when it is cleaned
    bool mixes = false;            ///< unless the voice could not be cleaned, so that it still can be later

    bool operator==(const SoundWishes&) const = default;

    static SoundWishes current(const NSUserDefaults& defaults, const SoundChoices& choices = {});
};

/// What the recorder needs of it.
class SoundFinishing {
 public:
    virtual ~SoundFinishing() = default;
    /// Does it with a finished movie, in place. Each step replaces the movie when it is complete, so there is
    /// a complete movie at any time. Returns sentences for the user about what could not be done, after which
    /// the recording is good nevertheless. Throws the platform's error if the tracks cannot be mixed; the
    /// movie then is as it was.
    virtual Task<std::vector<std::string>> finish(std::filesystem::path url, SoundWishes wishes) = 0;
};

class SoundFinisher final : public SoundFinishing {
 public:
    /// All must outlive the object. `makeQueue` creates the queue for the work when it is first needed.
    SoundFinisher(Executor& executor, DispatchQueueFactory makeQueue, const AVAssets& assets,
                  NSFileManager& files);

    /// The message of the exception says where the unmixed movie is.
    Task<std::vector<std::string>> finish(std::filesystem::path url, SoundWishes wishes) override;
    /// The completed fraction, 0 … 1, while there is work. Main thread.
    const Published<std::optional<double>>& progress() const { return *progress_; }

 private:
    std::function<void(double)> reporter() const;

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
