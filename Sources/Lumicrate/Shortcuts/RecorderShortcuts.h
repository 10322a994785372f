// SPDX-License-Identifier: GPL-3.0-or-later
// RecorderShortcuts: registers the global shortcuts, and calls the recorder when one is pressed.
#pragma once

#include "Lumicrate/Shortcuts/HotKeyCenter.h"
#include "Lumicrate/Shortcuts/Shortcut.h"

#include <functional>
#include <string>
#include <vector>

namespace lumicrate {

class ScreenRecorder;

/// Display texts of shortcuts that could not be registered, in the order of their actions.
struct RefusedShortcuts {
    std::vector<std::string> all;
    std::vector<std::string> withoutKey;  ///< those of a key that the keyboard lacks
};

/// Registers the stored shortcut of every action instead of all earlier ones; a press calls `pressed`. That
/// of the replay only while something is kept.
RefusedShortcuts bindShortcuts(HotKeyCenter& center, const NSUserDefaults& defaults,
                               const std::function<void(ShortcutAction)>& pressed);

/// Starts or stops, pauses or resumes, records an area, or saves the replay.
void perform(ShortcutAction action, ScreenRecorder& recorder);

}  // namespace lumicrate
