// SPDX-License-Identifier: GPL-3.0-or-later
#include "Lumicrate/Movie/AudioMixdown.h"

#include "Lumicrate/Library/DerivedFiles.h"
#include "Lumicrate/Recording/FreeSpaceGuard.h"
#include "Support/Log.h"
#include "Support/LongWork.h"

#include <utility>

namespace lumicrate {

AudioMixdown::AudioMixdown(Executor& executor, DispatchQueueFactory makeQueue, const AVAssets& assets,
                           NSFileManager& files)
    : executor_(executor), makeQueue_(std::move(makeQueue)), assets_(assets), files_(files) {}

Task<bool> AudioMixdown::mixIfNeeded(std::filesystem::path url) {
    const auto report = [&executor = executor_,
                         shared = std::weak_ptr(progress_)](std::optional<double> fraction) {
        executor.post([shared, fraction] {
            if (const auto progress = shared.lock()) *progress = fraction;
        });
    };
    const std::function<bool()> work = [&assets = assets_, &files = files_, url, report] {
        return mixIfNeeded(assets, files, url, {report, {}});
    };
    if (!queue_) queue_ = makeQueue_("Lumicrate.mixdown");
    Task<bool> mixing = inBackground<bool>(executor_, *queue_, work);
    std::exception_ptr failure;
    bool mixed = false;
    try {
        mixed = co_await mixing;
    } catch (const NoRoomToMix&) {
        failure = std::current_exception();
    } catch (const std::exception& reason) {
        failure = std::make_exception_ptr(LocalizedError(
            localized("{} It is kept with its tracks apart: {}", {reason.what(), url.string()})));
    }
    *progress_ = std::nullopt;
    if (failure) std::rethrow_exception(failure);
    co_return mixed;
}

bool AudioMixdown::mixIfNeeded(const AVAssets& assets, NSFileManager& files, const std::filesystem::path& url,
                               const LongWork& work) {
    const int tracks = assets.summary(url).audioTracks;
    log(LogArea::movie, "the recording has ", tracks, " audio tracks");
    if (tracks < 2) return false;
    const FreeSpaceGuard volume(files.volumeCapacity(url));
    if (!volume.hasRoomFor(files.attributes(url).size.value_or(0))) throw NoRoomToMix();
    TemporaryFile mixed(files, url, "mix");
    assets.mixAudio(url, mixed.url(), fileTypeOf(url), work);
    mixed.replace(url);
    return true;
}

}  // namespace lumicrate
