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
                 std::filesystem::path home, const Published<HotKeyAssignment>* assignment)
    : loginItem(loginService),
      defaults_(defaults),
      folder_(std::move(recordingsFolder)),
      home_(std::move(home)) {
    const auto current = [assignment] { return assignment ? &assignment->get() : nullptr; };
    storeChanges_ = defaults.observe([this, current] { update(current()); });
    if (assignment)
        assignmentChanges_ = assignment->observe([this](const HotKeyAssignment& coming) { update(&coming); });
    update(current());
}

bool Welcome::isDue(const NSUserDefaults& defaults) {
    return !defaults.boolForKey(welcomeShown);
}

void Welcome::update(const HotKeyAssignment* assignment) {
    std::vector<Point> next = {
        {"record.circle", localized("Record what you need"),
         localized("A window, an area, a whole screen, or just sound, with system audio and your microphone "
                   "if you like.")},
        {"keyboard", localized("Start and stop from anywhere"), shortcutText(assignment)},
        {"folder", localized("Find it again"),
         localized("Recordings are kept in {}. A recording interrupted by a crash still plays up to its last "
                   "second.",
                   {displayPath(folder_, home_)})}};
    if (next != *points) points = std::move(next);
}

std::string Welcome::shortcutText(const HotKeyAssignment* assignment) const {
    using State = HotKeyAssignment::State;
    constexpr auto action = ShortcutAction::toggle;
    const State state = assignment ? assignment->state : State::pending;
    if (state == State::unavailable || state == State::refused)
        return localized(
            "In the keyboard settings of your desktop, assign keys to the command “{}”. Settings lists more "
            "commands.",
            {command(action)});
    const auto toggle = shortcut(action, defaults_);
    if (!toggle) return localized("Choose a shortcut for it in Settings; it is currently turned off.");
    const std::string keys = localized("{} ({})", {toggle->spelledOut(), toggle->display()});
    if (!assignment)
        return localized("Press {} in any application. Settings lets you choose other keys.", {keys});
    const auto assigned = assignment->triggers.find(purpose(action).name);
    if (assigned != assignment->triggers.end() && !assigned->second.empty())
        return localized("Keys assigned by your desktop: {}. Its keyboard settings let you choose others.",
                         {assigned->second});
    return localized(
        "Your desktop decides about the keys. Lumicrate asks it for {}; Settings shows what has been "
        "assigned.",
        {keys});
}

void Welcome::finish() {
    try {
        if (isDue(defaults_)) defaults_.set(welcomeShown, true);
    } catch (const PlatformError&) {
        // Then it is shown once more next time, which is better than an error message in a welcome.
    }
}

}  // namespace lumicrate
