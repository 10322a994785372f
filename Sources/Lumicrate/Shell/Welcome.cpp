// SPDX-License-Identifier: GPL-3.0-or-later
#include "Lumicrate/Shell/Welcome.h"

#include "Lumicrate/Library/DerivedFiles.h"
#include "Lumicrate/Shortcuts/Shortcut.h"
#include "Support/Error.h"
#include "Support/Text.h"

#include <utility>

namespace lumicrate {

namespace {

constexpr std::string_view welcomeShown = "welcomeShown";

}  // namespace

Welcome::Welcome(NSUserDefaults& defaults, SMAppService& loginService, std::filesystem::path recordingsFolder,
                 std::filesystem::path home)
    : loginItem(loginService),
      defaults_(defaults),
      folder_(std::move(recordingsFolder)),
      home_(std::move(home)) {}

bool Welcome::isDue(const NSUserDefaults& defaults) {
    return !defaults.boolForKey(welcomeShown);
}

std::vector<Welcome::Point> Welcome::points() const {
    return {
        {"record.circle", localized("Record what you need"),
         localized("A window, an area, a whole screen, or just sound, with system audio and your microphone "
                   "if you like.")},
        shortcutPoint(),
        {"folder", localized("Find it again"),
         localized("Recordings are kept in ") + displayPath(folder_, home_) +
             localized(". A recording interrupted by a crash still plays up to its last second.")}};
}

Welcome::Point Welcome::shortcutPoint() const {
    const auto toggle = shortcut(ShortcutAction::toggle, defaults_);
    Point point{"keyboard", localized("Start and stop from anywhere"), {}};
    if (toggle) {
        point.text = localized("Press ") + toggle->spelledOut() + localized(" (") + toggle->display() +
                     localized(") in any application. Settings lets you choose other keys.");
    } else {
        point.text = localized("Choose a shortcut for it in Settings; it is currently turned off.");
    }
    return point;
}

void Welcome::finish() {
    try {
        if (isDue(defaults_)) defaults_.set(welcomeShown, true);
    } catch (const PlatformError&) {
        // Then it is shown once more next time, which is better than an error message in a welcome.
    }
}

}  // namespace lumicrate
