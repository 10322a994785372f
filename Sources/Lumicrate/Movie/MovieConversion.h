// SPDX-License-Identifier: GPL-3.0-or-later
// Conversion of a recording to an MP4 file without encoding it again.
#pragma once

#include "Lumicrate/Library/DerivedFiles.h"
#include "Platform/AVAsset.h"
#include "Support/LongWork.h"

namespace lumicrate {

/// Copies the movie at `url` to an MPEG-4 file in the same folder and returns that file. Its name has the
/// extension "mp4" and is made unique by uniqueURL. Throws the platform's error and leaves no new file.
inline std::filesystem::path copyAsMP4(const AVAssets& assets, NSFileManager& files,
                                       const std::filesystem::path& url, const LongWork& work) {
    std::filesystem::path wanted = url;
    wanted.replace_extension("mp4");
    TemporaryFile converted(files, wanted, "convert");
    assets.exportMovie(url, converted.url(), AVFileType::mpeg4, AVAssetExportPreset::passthrough,
                       std::nullopt, work);
    return converted.moveTo(wanted);
}

/// The same, then deletes the source.
inline std::filesystem::path convertToMP4(const AVAssets& assets, NSFileManager& files,
                                          const std::filesystem::path& url, const LongWork& work) {
    std::filesystem::path converted = copyAsMP4(assets, files, url, work);
    files.removeItem(url);
    return converted;
}

}  // namespace lumicrate
