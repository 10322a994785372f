// What can go wrong before a recording, beyond the platform's own errors.
#pragma once

#include "Support/Error.h"

#include <cstdint>
#include <string>

namespace lumicrate {

class RecorderError final : public LocalizedError {
 public:
    enum Case {
        microphoneDenied,    ///< the user does not let the application hear
        noDisplay,           ///< there is nothing to record a picture of
        windowGone,          ///< the chosen window has been closed
        noAudioSource,       ///< a recording of sound alone, without any sound
        noScreenAccess,      ///< no display server answers, or it does not let the application see
        tooLittleFreeSpace,  ///< the recording would soon fill the disk
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
            case tooLittleFreeSpace:
                return localized("There is too little free space on the disk to record: ") +
                       std::to_string(freeBytes / 1'000'000) + " MB.";
            case noScreenAccess:
                break;
        }
        return localized("No display server can be reached to record the screen.");
    }

    Case which_;
};

}  // namespace lumicrate
