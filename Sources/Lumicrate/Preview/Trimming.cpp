#include "Lumicrate/Preview/Trimming.h"

#include "Lumicrate/Library/FileNames.h"
#include "Lumicrate/Library/TemporaryFile.h"
#include "Support/LongWork.h"
#include "Support/Error.h"

#include <functional>
#include <utility>

namespace lumicrate {

std::filesystem::path Trimming::save(const Request& request, const LongWork& work) const {
    TemporaryFile temporary(files_, request.url, "trim");
    assets_.exportMovie(request.url, temporary.url(), fileTypeOf(request.url), presetFor(request),
                        request.range, work);
    // Up to here it can be given up.
    work.reach(1);
    return put(temporary, request);
}

/// Sound has no key pictures: any cut of it is precise.
AVAssetExportPreset Trimming::presetFor(const Request& request) const {
    if (!request.precise || lowercaseExtension(request.url) == "m4a") return AVAssetExportPreset::passthrough;
    const bool hevc = assets_.summary(request.url).videoSubtype == "hvc1";
    return hevc ? AVAssetExportPreset::hevcHighestQuality : AVAssetExportPreset::highestQuality;
}

std::filesystem::path Trimming::put(TemporaryFile& temporary, const Request& request) {
    if (request.replacing) {
        temporary.replace(request.url);
        return request.url;
    }
    std::filesystem::path name = request.url.stem();
    name += "_trimmed";
    name += request.url.extension();
    return temporary.moveTo(request.url.parent_path() / name);
}

std::string Trimming::message(const std::exception_ptr& error) {
    return localized("Couldn't save the trimmed recording:") + " " + localizedDescription(error);
}

Task<std::filesystem::path> saveInBackground(Executor& executor, DispatchQueue& queue,
                                             const Trimming& trimming,
                                             const NotificationCenter& notifications,
                                             Trimming::Request request, LongWork work) {
    std::function<std::filesystem::path()> save = [&trimming, request, work] {
        return trimming.save(request, work);
    };
    std::filesystem::path saved = co_await inBackground(executor, queue, std::move(save));
    notifications.post(recordingsChangedNotification);
    co_return saved;
}

}  // namespace lumicrate
