// SPDX-License-Identifier: GPL-3.0-or-later
#include "Lumicrate/Movie/SoundFinishing.h"

#include "Lumicrate/Movie/AudioMixdown.h"
#include "Lumicrate/Movie/VoiceCleaning.h"
#include "Lumicrate/Recording/RecordingOptions.h"
#include "Support/Error.h"
#include "Support/Log.h"

#include <functional>
#include <utility>

namespace lumicrate {

namespace {

using Path = std::filesystem::path;

/// A sentence if it failed. Without a microphone there is nothing to say.
std::optional<std::string> cleanVoice(const AVAssets& assets, NSFileManager& files, const Path& url,
                                      bool normalizes, const LongWork& work) {
    try {
        VoiceCleaning::clean(assets, files, url, normalizes, work);
    } catch (const VoiceCleaningError& reason) {
        log(LogArea::movie, "the voice is not cleaned: ", reason.what());
        if (reason.which() == VoiceCleaningError::noRoom) return reason.what();
    } catch (const std::exception& reason) {
        return localized("The voice couldn't be cleaned, and the recording is kept as it was made: {}",
                         {reason.what()});
    }
    return std::nullopt;
}

std::vector<std::string> finishSound(const AVAssets& assets, NSFileManager& files, const Path& url,
                                     const SoundWishes& wishes, const LongWork& work) {
    const double middle = wishes.cleansVoice ? (wishes.mixes ? 0.5 : 1) : 0;
    if (wishes.cleansVoice) {
        if (const auto problem = cleanVoice(assets, files, url, wishes.normalizesVoice, work.part(0, middle)))
            return {*problem};
    }
    try {
        if (wishes.mixes) AudioMixdown::mixIfNeeded(assets, files, url, work.part(middle, 1));
    } catch (const NoRoomToMix& reason) {
        // A recording that was ended by a full disk is saved nevertheless.
        return {reason.what()};
    } catch (const std::exception& reason) {
        throw LocalizedError(
            localized("{} It is kept with its tracks apart: {}", {reason.what(), url.string()}));
    }
    return {};
}

}  // namespace

SoundWishes SoundWishes::current(const NSUserDefaults& defaults, const SoundChoices& choices) {
    SoundWishes wishes;
    wishes.cleansVoice = choices.cleansVoice.value_or(defaults.boolForKey(preference::cleanVoice));
    wishes.normalizesVoice = wishes.cleansVoice && choices.normalizesVoice.value_or(
                                                       defaults.boolForKey(preference::normalizeVoice));
    wishes.mixes = choices.mixes.value_or(defaults.boolForKey(preference::mixAudio));
    return wishes;
}

SoundFinisher::SoundFinisher(Executor& executor, DispatchQueueFactory makeQueue, const AVAssets& assets,
                             NSFileManager& files)
    : executor_(executor), makeQueue_(std::move(makeQueue)), assets_(assets), files_(files) {}

/// Posts the progress to the main thread.
std::function<void(double)> SoundFinisher::reporter() const {
    return [&executor = executor_, shared = std::weak_ptr(progress_)](double fraction) {
        executor.post([shared, fraction] {
            if (const auto progress = shared.lock()) *progress = fraction;
        });
    };
}

Task<std::vector<std::string>> SoundFinisher::finish(std::filesystem::path url, SoundWishes wishes) {
    using Sentences = std::vector<std::string>;
    const std::function<Sentences()> work = [&assets = assets_, &files = files_, url, wishes,
                                             report = reporter()] {
        return finishSound(assets, files, url, wishes, {report, {}});
    };
    if (!queue_) queue_ = makeQueue_("Lumicrate.mixdown");
    Task<Sentences> finishing = inBackground<Sentences>(executor_, *queue_, work);
    std::exception_ptr failure;
    Sentences problems;
    try {
        problems = co_await finishing;
    } catch (...) {
        failure = std::current_exception();
    }
    *progress_ = std::nullopt;
    if (failure) std::rethrow_exception(failure);
    co_return problems;
}

}  // namespace lumicrate
