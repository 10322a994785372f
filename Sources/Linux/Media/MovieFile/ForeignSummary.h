// ForeignSummary: what movies in other containers tell, such as somebody's Matroska file that was renamed.
#pragma once

#include "Platform/AVAsset.h"

#include <filesystem>
#include <optional>

namespace lumicrate::media {

/// Nothing for what is no movie, or one with neither pictures nor sound. Any thread.
std::optional<AVAssetSummary> summaryOfForeignMovie(const std::filesystem::path& url);

}  // namespace lumicrate::media
