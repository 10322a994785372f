#include "Lumicrate/AudioMixdown.h"

#include "Lumicrate/FileNames.h"
#include "Lumicrate/TemporaryFile.h"
#include "Support/Background.h"

#include <utility>

namespace lumicrate {

AudioMixdown::AudioMixdown(Executor& executor, std::unique_ptr<DispatchQueue> queue, const AVAssets& assets,
                           NSFileManager& files)
    : executor_(executor), assets_(assets), files_(files), queue_(std::move(queue)) {}

Task<bool> AudioMixdown::mixIfNeeded(std::filesystem::path url) {
    const auto tell = [&executor = executor_, shown = std::weak_ptr(progress_)](std::optional<double> part) {
        executor.post([shown, part] {
            if (const auto progress = shown.lock()) *progress = part;
        });
    };
    const std::function<bool()> work = [&assets = assets_, &files = files_, url, tell] {
        return mixIfNeeded(assets, files, url, {tell, {}});
    };
    Task<bool> mixing = inBackground<bool>(executor_, *queue_, work);
    std::exception_ptr failure;
    bool mixed = false;
    try {
        mixed = co_await mixing;
    } catch (...) {
        failure = std::current_exception();
    }
    *progress_ = std::nullopt;
    if (failure) std::rethrow_exception(failure);
    co_return mixed;
}

bool AudioMixdown::mixIfNeeded(const AVAssets& assets, NSFileManager& files, const std::filesystem::path& url,
                               const LongWork& work) {
    if (assets.summary(url).audioTracks < 2) return false;
    TemporaryFile mixed(files, url, "mix");
    assets.mixAudio(url, mixed.url(), fileTypeOf(url), work);
    mixed.replace(url);
    return true;
}

}  // namespace lumicrate
