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

/// Registers the stored shortcut of every action instead of all earlier ones; a press calls `pressed`.
/// Returns the display texts of those that the system refused.
std::vector<std::string> bindShortcuts(HotKeyCenter& center, const NSUserDefaults& defaults,
                                       const std::function<void(ShortcutAction)>& pressed);

/// Starts or stops, pauses or resumes, or records an area.
void perform(ShortcutAction action, ScreenRecorder& recorder);

}  // namespace lumicrate
