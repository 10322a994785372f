// SPDX-License-Identifier: GPL-3.0-or-later
// Copies of movies whose pictures are composed anew: parts of them, enlarged to the size of the whole.
#pragma once

#include "Platform/AVAssetWriter.h"
#include "Support/Geometry.h"
#include "Support/LongWork.h"
#include "Support/MediaTime.h"

#include <filesystem>
#include <functional>

namespace lumicrate {

/// The part of the picture that is shown at a time of the presentation. 0, 0 is the picture's top left corner
/// and 1, 1 its bottom right one; the part has the picture's aspect ratio and lies within it.
using AVVideoView = std::function<Rect(CMTime time)>;

class AVVideoCompositionExport {
 public:
    virtual ~AVVideoCompositionExport() = default;

    /// Encodes the first video track again, as H.264 in the source's size, with the part of each picture that
    /// `view` says; every picture keeps its time. While the view moves, pictures are added, so that there are
    /// at least 30 a second. All sound is copied, and nothing else. `view` is called on another thread, with
    /// increasing times. Blocks; any thread. Requires that `destination` does not exist. Throws PlatformError
    /// and CancelledError, and then leaves no file.
    virtual void exportZoomed(const std::filesystem::path& source, const std::filesystem::path& destination,
                              AVFileType type, const AVVideoView& view, const LongWork& work) const = 0;
};

}  // namespace lumicrate
