// SPDX-License-Identifier: GPL-3.0-or-later
#include "Lumicrate/Movie/VoiceCleaning.h"

#include "Lumicrate/Library/DerivedFiles.h"
#include "Lumicrate/Recording/FreeSpaceGuard.h"
#include "Support/Log.h"

namespace lumicrate {

namespace {

void requireVoice(const AVAssets& assets, const std::filesystem::path& url) {
    switch (assets.voice(url)) {
        case AVVoice::none:
            throw VoiceCleaningError(VoiceCleaningError::noMicrophone);
        case AVVoice::clean:
            throw VoiceCleaningError(VoiceCleaningError::alreadyClean);
        case AVVoice::asRecorded:
            break;
    }
}

}  // namespace

std::string VoiceCleaningError::description(Case which) {
    switch (which) {
        case noMicrophone:
            return localized("The recording has no microphone track.");
        case alreadyClean:
            return localized("The voice in this recording is already clean.");
        case noRoom:
            break;
    }
    return localized("There is no room on the disk to clean the voice.");
}

void VoiceCleaning::clean(const AVAssets& assets, NSFileManager& files, const std::filesystem::path& url,
                          bool normalizes, const LongWork& work) {
    requireVoice(assets, url);
    const FreeSpaceGuard volume(files.volumeCapacity(url));
    if (!volume.hasRoomFor(files.attributes(url).size.value_or(0)))
        throw VoiceCleaningError(VoiceCleaningError::noRoom);
    TemporaryFile cleaned(files, url, "clean");
    assets.cleanVoice(url, cleaned.url(), fileTypeOf(url), normalizes, work);
    cleaned.replace(url);
    log(LogArea::movie, "the voice is clean");
}

void VoiceCleaning::saveCleaned(const AVAssets& assets, const std::filesystem::path& url,
                                const std::filesystem::path& destination, bool normalizes,
                                const LongWork& work) {
    requireVoice(assets, url);
    assets.cleanVoice(url, destination, fileTypeOf(destination), normalizes, work);
}

}  // namespace lumicrate
