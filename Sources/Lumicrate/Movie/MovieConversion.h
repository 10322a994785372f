// SPDX-License-Identifier: GPL-3.0-or-later
// Conversion of a recording to an MP4 file without encoding it again.
#pragma once

#include "Platform/AVAsset.h"
#include "Platform/NSFileManager.h"
#include "Support/LongWork.h"

#include <filesystem>

namespace lumicrate {

/// Copies the movie at `url` to an MPEG-4 file in the same folder and returns that file. Its name has the
/// extension "mp4" and is made unique by uniqueURL. Throws the platform's error and leaves no new file.
std::filesystem::path copyAsMP4(const AVAssets& assets, NSFileManager& files,
                                const std::filesystem::path& url, const LongWork& work);

/// The same, then deletes the source.
std::filesystem::path convertToMP4(const AVAssets& assets, NSFileManager& files,
                                   const std::filesystem::path& url, const LongWork& work);

}  // namespace lumicrate
