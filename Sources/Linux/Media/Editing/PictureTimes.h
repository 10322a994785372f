// SPDX-License-Identifier: GPL-3.0-or-later
// PictureTimes: the times at which the pictures of a movie begin.
#pragma once

#include "Support/MediaTime.h"

#include <filesystem>
#include <vector>

namespace lumicrate::media {

/// Implements AVAssets::pictureTimes. The recorder's own files keep these times in their head; of movies with
/// reordered pictures and of other containers all packets are read. Any thread. Throws PlatformError.
std::vector<CMTime> pictureTimesOf(const std::filesystem::path& url);

}  // namespace lumicrate::media
