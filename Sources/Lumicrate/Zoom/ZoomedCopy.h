// SPDX-License-Identifier: GPL-3.0-or-later
// ZoomedCopy: a copy of a recording that shows clicks enlarged.
#pragma once

#include "Lumicrate/Zoom/ZoomPlan.h"
#include "Platform/AVAsset.h"
#include "Platform/AVVideoComposition.h"
#include "Platform/NSFileManager.h"
#include "Support/LongWork.h"

#include <filesystem>

namespace lumicrate {

/// The zooms to the clicks of a recording. Reads the file. Any thread. Throws PlatformError, and
/// LocalizedError if the recording contains no clicks.
ZoomPlan zoomPlanOf(const AVAssets& assets, const std::filesystem::path& url, const ZoomStyle& style);

/// Any thread.
class ZoomedCopy {
 public:
    /// Both must outlive this object.
    ZoomedCopy(const AVVideoCompositionExport& exporter, NSFileManager& files)
        : exporter_(exporter), files_(files) {}

    /// Saves the copy as `destination`, which must not exist, or, if that is empty, as "NAME_zoom.EXTENSION"
    /// or the next free name beside `url`; returns the path. Blocks. Throws LocalizedError and
    /// CancelledError; then no file is left.
    std::filesystem::path save(const std::filesystem::path& url, const std::filesystem::path& destination,
                               const ZoomPlan& plan, const LongWork& work) const;

 private:
    const AVVideoCompositionExport& exporter_;
    NSFileManager& files_;
};

}  // namespace lumicrate
