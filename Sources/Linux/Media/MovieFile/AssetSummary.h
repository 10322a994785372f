// SPDX-License-Identifier: GPL-3.0-or-later
// AssetSummary: duration, size and tracks of a movie file, read from its headers.
#pragma once

#include "Platform/AVAsset.h"

#include <filesystem>

namespace lumicrate::media {

/// Implements AVAssets::summary. Reads a few kilobytes; files in other containers than ISO base media,
/// whatever their names say, are probed with FFmpeg's libraries. Any thread, several at once. Throws
/// PlatformError.
AVAssetSummary summaryOfMovie(const std::filesystem::path& url);

}  // namespace lumicrate::media
