// SPDX-License-Identifier: GPL-3.0-or-later
// ShortcutField: shows the shortcut of an action and lets the user type another one.
#pragma once

#include "Lumicrate/Shortcuts/HotKeyCenter.h"
#include "Lumicrate/Shortcuts/Shortcut.h"
#include "Platform/NSEvent.h"
#include "Platform/NSUserDefaults.h"
#include "Support/Published.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace lumicrate {

/// While a field listens for keys, no system-wide shortcut is bound; otherwise a shortcut that is in use
/// would run its action instead of reaching the field. Main thread only.
class ShortcutField {
 public:
    struct Services {
        NSUserDefaults& defaults;
        HotKeyCenter& hotKeys;
        NSKeyMonitoring& keys;
        std::function<void()> registerHotKeys;  ///< binds all shortcuts again
        std::function<void()> beep;
    };
    enum class Tone { primary, secondary, accent };

    /// Everything that is shown.
    struct Content {
        std::string label;
        Tone tone = Tone::primary;
        std::string help;
        std::string spelledOut;  ///< the label in words, for screen readers
        std::string message;     ///< why a shortcut was refused; empty for none
        std::string restoreHelp;
        bool canRestore = false;
        bool operator==(const Content&) const = default;
    };

    /// The references in `services` must outlive the field. `willListen` is called before it starts
    /// listening.
    ShortcutField(ShortcutAction action, Services services, std::function<void()> willListen = {});
    /// Stops listening.
    ~ShortcutField();
    ShortcutField(const ShortcutField&) = delete;
    ShortcutField& operator=(const ShortcutField&) = delete;

    ShortcutAction action() const { return action_; }
    bool isListening() const { return listening_; }
    Published<Content> content;

    /// Clicking the button: starts or stops listening.
    void press();
    /// Stops listening and binds all shortcuts again, even if the field was not listening. Call it when the
    /// field is hidden.
    void stopListening();
    void restoreDefault();

 private:
    void startListening();
    void keyDown(const NSEvent& event);
    void take(const Shortcut& wanted);
    void store(const std::optional<Shortcut>& shortcut);
    void refuse(std::string message);
    std::optional<std::string> conflict(const Shortcut& wanted) const;
    void refresh();

    ShortcutAction action_;
    Services services_;
    std::function<void()> willListen_;
    std::unique_ptr<NSEventMonitor> monitor_;
    bool listening_ = false;
    std::string message_;
    Subscription storeChanges_;
};

/// The fields of all actions, in order. Only one listens at a time.
class ShortcutFields {
 public:
    explicit ShortcutFields(const ShortcutField::Services& services);
    ShortcutFields(const ShortcutFields&) = delete;
    ShortcutFields& operator=(const ShortcutFields&) = delete;

    const std::vector<std::unique_ptr<ShortcutField>>& all() const { return fields_; }

 private:
    std::vector<std::unique_ptr<ShortcutField>> fields_;
};

}  // namespace lumicrate
