// AssetSummary: what a movie file tells of itself, read as quickly as can be.
#pragma once

#include "Platform/AVAsset.h"

#include <filesystem>

namespace lumicrate::media {

/// Carries out AVAssets::summary. Any thread, several at once; blocks for the reading of a few kilobytes.
/// Files that are not ISO base media at all, whatever their names say, are looked at more closely. Throws
/// PlatformError.
AVAssetSummary summaryOfMovie(const std::filesystem::path& url);

}  // namespace lumicrate::media
