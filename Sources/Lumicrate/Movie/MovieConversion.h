// Recordings in another container, their media as it is.
#pragma once

#include "Platform/AVAsset.h"
#include "Platform/NSFileManager.h"
#include "Support/LongWork.h"

#include <filesystem>

namespace lumicrate {

/// Copies the movie at `url` into an MPEG-4 file beside it, of the same name with the extension "mp4" (or
/// what uniqueURL makes of that), and gives its name. The source stays. Throws, leaving no other file.
std::filesystem::path copyAsMP4(const AVAssets& assets, NSFileManager& files,
                                const std::filesystem::path& url, const LongWork& work);

/// The same, after which the source is deleted.
std::filesystem::path convertToMP4(const AVAssets& assets, NSFileManager& files,
                                   const std::filesystem::path& url, const LongWork& work);

}  // namespace lumicrate
