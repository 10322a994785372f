// VideoCut: chooses how the pictures of a range get into a new movie.
#pragma once

#include "Linux/Media/Editing/InputMovie.h"
#include "Linux/Media/Editing/TrackWriter.h"
#include "Platform/AVAsset.h"

#include <filesystem>
#include <memory>

namespace lumicrate::media {

/// With the least work that begins exactly at the start: copied where the range begins with a key picture,
/// mended where the pictures are of our own making and of the codec of `preset`, coded anew otherwise.
/// `source` must outlive the writer. Throws PlatformError.
std::unique_ptr<TrackWriter> makeVideoCut(const InputMovie& source, int track, AVAssetExportPreset preset,
                                          const CMTimeRange& range);

}  // namespace lumicrate::media
