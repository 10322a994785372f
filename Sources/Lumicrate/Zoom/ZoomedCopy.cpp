// SPDX-License-Identifier: GPL-3.0-or-later
#include "Lumicrate/Zoom/ZoomedCopy.h"

#include "Lumicrate/Library/DerivedFiles.h"
#include "Support/Error.h"
#include "Support/Log.h"
#include "Support/Text.h"

#include <vector>

namespace lumicrate {

ZoomPlan zoomPlanOf(const AVAssets& assets, const std::filesystem::path& url, const ZoomStyle& style) {
    const double duration = assets.summary(url).duration;
    const std::vector<RecordedInput> input = assets.recordedInput(url);
    const std::vector<ZoomBlock> blocks = zoomBlocks(input, duration, style);
    if (blocks.empty()) throw LocalizedError(localized("The recording contains no clicks to zoom to."));
    log(LogArea::library, "zoom: ", blocks.size(), " parts of ", duration, " s");
    return {blocks, duration, input};
}

std::filesystem::path ZoomedCopy::save(const std::filesystem::path& url,
                                       const std::filesystem::path& destination, const ZoomPlan& plan,
                                       const LongWork& work) const {
    if (!destination.empty() && files_.fileExists(destination))
        throw LocalizedError(localized("There is already a file with that name."));
    std::filesystem::path wanted = destination;
    if (wanted.empty()) {
        wanted = url.parent_path() / url.stem();
        wanted += "_zoom";
        wanted += url.extension();
    }
    TemporaryFile temporary(files_, wanted, "zoom");
    const AVVideoView view = [&plan](CMTime time) { return plan.viewAt(time.seconds()); };
    exporter_.exportZoomed(url, temporary.url(), fileTypeOf(wanted), view, work);
    work.reach(1);
    if (destination.empty()) return temporary.moveTo(wanted);
    files_.moveItem(temporary.url(), destination);
    return destination;
}

}  // namespace lumicrate
