// SPDX-License-Identifier: GPL-3.0-or-later
#include "Lumicrate/Settings/ShortcutField.h"

#include "Support/Error.h"
#include "Support/Text.h"

#include <cstdint>
#include <exception>
#include <utility>

namespace lumicrate {

namespace {

// Keys with a special meaning while a field listens.
constexpr std::int64_t deleteKey = 51;
constexpr std::int64_t forwardDeleteKey = 117;
constexpr std::int64_t escapeKey = 53;

}  // namespace

ShortcutField::ShortcutField(ShortcutAction action, Services services, std::function<void()> willListen)
    : action_(action), services_(std::move(services)), willListen_(std::move(willListen)) {
    storeChanges_ = services_.defaults.observe([this] { refresh(); });
    refresh();
}

ShortcutField::~ShortcutField() {
    if (!listening_) return;
    try {
        monitor_.reset();
        services_.registerHotKeys();
    } catch (const std::exception&) {
        // Cannot be reported here. The shortcuts are bound again when one of them changes.
    }
}

void ShortcutField::press() {
    if (listening_) {
        stopListening();
    } else {
        startListening();
    }
}

void ShortcutField::startListening() {
    if (willListen_) willListen_();
    message_.clear();
    listening_ = true;
    services_.hotKeys.unregisterAll();
    monitor_ = services_.keys.addKeyDownMonitor([this](const NSEvent& event) {
        keyDown(event);
        return true;
    });
    refresh();
}

void ShortcutField::stopListening() {
    monitor_.reset();
    listening_ = false;
    refresh();
    services_.registerHotKeys();
}

void ShortcutField::keyDown(const NSEvent& event) {
    switch (event.keyCode) {
        case deleteKey:
        case forwardDeleteKey:
            store(std::nullopt);
            return;
        case escapeKey:
            stopListening();
            return;
        default:
            break;
    }
    if (event.keyCode < 0) {
        refuse(localized("This key can’t be used in a shortcut."));
    } else if (const auto wanted = shortcutFrom(event)) {
        take(*wanted);
    } else {
        refuse(localized("Include ⌘, ⌥ or ⌃ (or use a function key)."));
    }
}

void ShortcutField::restoreDefault() {
    take(defaultShortcut(action_));
}

void ShortcutField::take(const Shortcut& wanted) {
    if (auto used = conflict(wanted)) {
        refuse(std::move(*used));
        return;
    }
    store(wanted);
}

void ShortcutField::store(const std::optional<Shortcut>& shortcut) {
    try {
        save(action_, shortcut, services_.defaults);
        message_.clear();
    } catch (const PlatformError& error) {
        message_ = error.what();
        services_.beep();
    }
    stopListening();
}

void ShortcutField::refuse(std::string message) {
    message_ = std::move(message);
    refresh();
    services_.beep();
}

std::optional<std::string> ShortcutField::conflict(const Shortcut& wanted) const {
    for (const ShortcutAction other : allCases<ShortcutAction>()) {
        if (other != action_ && shortcut(other, services_.defaults) == wanted)
            return localized("{} is already used for {}.", {wanted.display(), label(other)});
    }
    return std::nullopt;
}

void ShortcutField::refresh() {
    const auto bound = shortcut(action_, services_.defaults);
    const Shortcut standard = defaultShortcut(action_);
    Content next;
    if (listening_) {
        next.label = next.spelledOut = localized("Type shortcut…");
        next.tone = Tone::accent;
    } else if (bound) {
        next.label = bound->display();
        next.spelledOut = bound->spelledOut();
    } else {
        next.label = next.spelledOut = localizedIn("shortcut", "None");
        next.tone = Tone::secondary;
    }
    next.help = listening_ ? localized("Press the new shortcut. Esc cancels, Delete turns it off.")
                           : localized("Click to change");
    next.message = message_;
    next.restoreHelp = localized("Restore {}", {standard.display()});
    next.canRestore = bound != standard;
    if (next != *content) content = std::move(next);
}

ShortcutFields::ShortcutFields(const ShortcutField::Services& services) {
    for (const ShortcutAction action : allCases<ShortcutAction>()) {
        fields_.push_back(std::make_unique<ShortcutField>(action, services, [this] {
            for (const auto& each : fields_) {
                if (each->isListening()) each->stopListening();
            }
        }));
    }
}

}  // namespace lumicrate
