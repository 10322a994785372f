// SPDX-License-Identifier: GPL-3.0-or-later
#include "Lumicrate/Movie/AudioMixdown.h"

#include "Lumicrate/Library/DerivedFiles.h"
#include "Lumicrate/Recording/FreeSpaceGuard.h"
#include "Support/Log.h"

namespace lumicrate {

bool AudioMixdown::mixIfNeeded(const AVAssets& assets, NSFileManager& files, const std::filesystem::path& url,
                               const LongWork& work) {
    const int tracks = assets.summary(url).audioTracks;
    log(LogArea::movie, "the recording has ", tracks, " audio tracks");
    if (tracks < 2) return false;
    const FreeSpaceGuard volume(files.volumeCapacity(url));
    if (!volume.hasRoomFor(files.attributes(url).size.value_or(0))) throw NoRoomToMix();
    TemporaryFile mixed(files, url, "mix");
    assets.mixAudio(url, mixed.url(), fileTypeOf(url), work);
    mixed.replace(url);
    return true;
}

}  // namespace lumicrate
