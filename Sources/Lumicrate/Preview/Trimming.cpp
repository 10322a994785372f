// SPDX-License-Identifier: GPL-3.0-or-later
#include "Lumicrate/Preview/Trimming.h"

#include "Lumicrate/Library/DerivedFiles.h"
#include "Support/Error.h"
#include "Support/Log.h"

namespace lumicrate {

std::filesystem::path Trimming::save(const Request& request, const LongWork& work) const {
    TemporaryFile temporary(files_, request.url, "trim");
    const AVAssetExportPreset preset = presetFor(request);
    log(LogArea::library, "trim ", request.range.start.seconds(), " s to ", request.range.end.seconds(),
        " s, ", preset == AVAssetExportPreset::passthrough ? "copying" : "re-encoding");
    assets_.exportMovie(request.url, temporary.url(), fileTypeOf(request.url), preset, request.range, work);
    // The last moment at which it can be cancelled.
    work.reach(1);
    log(LogArea::library, "trim exported, ", request.replacing ? "replacing the recording" : "as a new file");
    if (request.replacing) {
        temporary.replace(request.url);
        return request.url;
    }
    std::filesystem::path name = request.url.stem();
    name += "_trimmed";
    name += request.url.extension();
    return temporary.moveTo(request.url.parent_path() / name);
}

/// Sound has no key pictures, so copying it is always precise.
AVAssetExportPreset Trimming::presetFor(const Request& request) const {
    if (!request.precise || lowercaseExtension(request.url) == "m4a") return AVAssetExportPreset::passthrough;
    const bool hevc = assets_.summary(request.url).videoSubtype == "hvc1";
    return hevc ? AVAssetExportPreset::hevcHighestQuality : AVAssetExportPreset::highestQuality;
}

std::string Trimming::message(const std::exception_ptr& error) {
    return localized("Couldn't save the trimmed recording: ") + localizedDescription(error);
}

}  // namespace lumicrate
