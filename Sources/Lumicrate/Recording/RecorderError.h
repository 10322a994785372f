// SPDX-License-Identifier: GPL-3.0-or-later
// RecorderError: the errors before a recording, except those of the platform.
#pragma once

#include "Support/Error.h"

#include <cstdint>
#include <string>

namespace lumicrate {

class RecorderError final : public LocalizedError {
 public:
    enum Case {
        microphoneDenied,    ///< access to the microphone is not allowed
        noDisplay,           ///< no display can be captured
        windowGone,          ///< the chosen window has been closed
        noAudioSource,       ///< sound alone, but neither microphone nor system audio
        noScreenAccess,      ///< no display server answers, or it does not allow capture
        otherDisplay,        ///< the desktop shared another display than the area's
        tooLittleFreeSpace,  ///< the disk would soon be full
        neverRecorded,       ///< the chosen window's application is never recorded
        cannotExclude,       ///< applications are never recorded, but the desktop cannot exclude windows
    };

    /// `freeBytes` is for tooLittleFreeSpace.
    explicit RecorderError(Case which, std::uintmax_t freeBytes = 0)
        : LocalizedError(description(which, freeBytes)), which_(which) {}
    Case which() const { return which_; }

 private:
    static std::string description(Case which, std::uintmax_t freeBytes) {
        switch (which) {
            case microphoneDenied:
                return localized(
                    "Microphone access is off. Allow Lumicrate in System Settings › Privacy & Security › "
                    "Microphone.");
            case noDisplay:
                return localized("No display is available to record.");
            case windowGone:
                return localized("That window is no longer on screen. Pick another source.");
            case noAudioSource:
                return localized("Turn on Microphone or System audio to record audio.");
            case otherDisplay:
                return localized("The desktop shared another screen than the one with the area.");
            case tooLittleFreeSpace:
                return localized("There is too little free space on the disk to record: {} MB.",
                                 {std::to_string(freeBytes / 1'000'000)});
            case neverRecorded:
                return localized(
                    "This window's application is on the list of those that are never recorded.");
            case cannotExclude:
                return localized(
                    "On this desktop applications can't be left out of a recording. Empty the list of those "
                    "that are never recorded to record all the same.");
            case noScreenAccess:
                break;
        }
        return localized("No display server can be reached to record the screen.");
    }

    Case which_;
};

}  // namespace lumicrate
