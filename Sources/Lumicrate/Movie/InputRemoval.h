// SPDX-License-Identifier: GPL-3.0-or-later
// removeRecordedInput: takes the recorded input out of a finished movie.
#pragma once

#include "Lumicrate/Library/DerivedFiles.h"
#include "Platform/AVAsset.h"
#include "Platform/NSFileManager.h"
#include "Support/LongWork.h"

#include <filesystem>

namespace lumicrate {

/// In place; pictures and sound are copied. False if the movie has no recorded input. Throws the platform's
/// error and leaves the movie unchanged. Blocks.
inline bool removeRecordedInput(const AVAssets& assets, NSFileManager& files,
                                const std::filesystem::path& url, const LongWork& work) {
    if (!assets.summary(url).recordedInput) return false;
    TemporaryFile copied(files, url, "data");
    assets.copyWithoutInput(url, copied.url(), fileTypeOf(url), work);
    copied.replace(url);
    return true;
}

}  // namespace lumicrate
