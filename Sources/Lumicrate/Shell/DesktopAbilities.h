// SPDX-License-Identifier: GPL-3.0-or-later
// DesktopAbilities: what the desktop lets programs do. Wayland desktops allow less than X11.
#pragma once

#include "Support/Text.h"

#include <string>

namespace lumicrate {

/// Constant while the program runs.
struct DesktopAbilities {
    bool grabsKeys = true;  ///< false: the desktop itself assigns the keys of global shortcuts
    bool seesClicks =
        true;  ///< false: clicks in the windows of other programs are unknown, so nothing marks them
    bool capturesUnasked = true;  ///< false: the user has to agree to each capture
    bool seesKeys = true;         ///< false: keys pressed in the windows of other programs are unknown

    /// Why the last seconds cannot be kept, for the user.
    static std::string replayNote() {
        return localized("On Wayland, each capture has to be allowed, so the last seconds can’t be kept.");
    }
    /// Why pressed keys cannot be shown, for the user.
    static std::string keysNote() {
        return localized(
            "On Wayland, programs can’t see keys that are pressed in other windows, so pressed keys are not "
            "shown.");
    }
    /// Why clicks cannot be highlighted, for the user.
    static std::string clicksNote() {
        return localized(
            "On Wayland, programs can’t see clicks outside of their own windows, so clicks are not "
            "highlighted.");
    }
    /// Why the pointer cannot be kept as data, for the user.
    static std::string inputDataNote() {
        return localized(
            "On Wayland, programs can’t see the pointer outside of their own windows, so it is not kept as "
            "data.");
    }
};

}  // namespace lumicrate
