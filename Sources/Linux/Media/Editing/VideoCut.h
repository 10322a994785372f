// VideoCut: chooses how the pictures of a range get into a new movie.
#pragma once

#include "Linux/Media/Editing/InputMovie.h"
#include "Linux/Media/Editing/TrackWriter.h"
#include "Platform/AVAsset.h"

#include <filesystem>
#include <memory>
#include <optional>

namespace lumicrate::media {

/// With the least work that `preset` allows: copied where nothing is asked or the range begins with a key
/// picture, mended where the pictures are of our own making, coded anew otherwise. `source` must outlive the
/// writer. Throws PlatformError.
std::unique_ptr<TrackWriter> makeVideoCut(const InputMovie& source, int track, AVAssetExportPreset preset,
                                          const std::optional<CMTimeRange>& range);

}  // namespace lumicrate::media
