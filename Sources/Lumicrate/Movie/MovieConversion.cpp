// SPDX-License-Identifier: GPL-3.0-or-later
#include "Lumicrate/Movie/MovieConversion.h"

#include "Lumicrate/Library/DerivedFiles.h"

namespace lumicrate {

std::filesystem::path copyAsMP4(const AVAssets& assets, NSFileManager& files,
                                const std::filesystem::path& url, const LongWork& work) {
    std::filesystem::path wanted = url;
    wanted.replace_extension("mp4");
    TemporaryFile converted(files, wanted, "convert");
    assets.exportMovie(url, converted.url(), AVFileType::mpeg4, AVAssetExportPreset::passthrough,
                       std::nullopt, work);
    return converted.moveTo(wanted);
}

std::filesystem::path convertToMP4(const AVAssets& assets, NSFileManager& files,
                                   const std::filesystem::path& url, const LongWork& work) {
    std::filesystem::path converted = copyAsMP4(assets, files, url, work);
    files.removeItem(url);
    return converted;
}

}  // namespace lumicrate
