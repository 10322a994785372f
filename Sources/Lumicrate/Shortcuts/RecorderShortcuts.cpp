// SPDX-License-Identifier: GPL-3.0-or-later
#include "Lumicrate/Shortcuts/RecorderShortcuts.h"

#include "Lumicrate/Recording/ScreenRecorder.h"
#include "Support/Log.h"

namespace lumicrate {

std::vector<std::string> bindShortcuts(HotKeyCenter& center, const NSUserDefaults& defaults,
                                       const std::function<void(ShortcutAction)>& pressed) {
    center.unregisterAll();
    std::vector<std::string> refused;
    for (const ShortcutAction action : allCases<ShortcutAction>()) {
        const auto bound = shortcut(action, defaults);
        if (!bound) continue;
        const bool accepted = center.registerHotKey(bound->keyCode, bound->modifiers, [pressed, action] {
            log(LogArea::input, "shortcut pressed: ", rawValue(action));
            pressed(action);
        });
        log(LogArea::input, "shortcut ", rawValue(action), accepted ? " bound" : " refused: already taken");
        if (!accepted) refused.push_back(bound->display());
    }
    return refused;
}

void perform(ShortcutAction action, ScreenRecorder& recorder) {
    switch (action) {
        case ShortcutAction::toggle:
            return recorder.toggle();
        case ShortcutAction::pause:
            return recorder.togglePause();
        case ShortcutAction::area:
            return recorder.record(CaptureMode::area);
    }
}

}  // namespace lumicrate
