// SPDX-License-Identifier: GPL-3.0-or-later
#include "Lumicrate/Shortcuts/RecorderShortcuts.h"

#include "Lumicrate/Recording/ScreenRecorder.h"
#include "Support/Log.h"

namespace lumicrate {

RefusedShortcuts bindShortcuts(HotKeyCenter& center, const NSUserDefaults& defaults,
                               const std::function<void(ShortcutAction)>& pressed) {
    center.unregisterAll();
    RefusedShortcuts refused;
    for (const ShortcutAction action : allCases<ShortcutAction>()) {
        const auto bound = shortcut(action, defaults);
        // Other programs may use the keys as long as there is nothing to save.
        const bool hasEffect =
            action != ShortcutAction::replay || defaults.integerForKey(preference::replaySeconds) > 0;
        if (!bound || !hasEffect) continue;
        const bool accepted =
            center.registerHotKey(bound->keyCode, bound->modifiers, purpose(action), [pressed, action] {
                log(LogArea::input, "shortcut pressed: ", rawValue(action));
                pressed(action);
            });
        const bool hasKey = accepted || center.hasKey(bound->keyCode);
        log(LogArea::input, "shortcut ", rawValue(action),
            accepted ? " registered"
            : hasKey ? " refused: already taken"
                     : " refused: no such key");
        if (accepted) continue;
        refused.all.push_back(bound->display());
        if (!hasKey) refused.withoutKey.push_back(bound->display());
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
        case ShortcutAction::replay:
            if (recorder.onSaveReplay) recorder.onSaveReplay();
            return;
    }
}

}  // namespace lumicrate
