// ShortcutField: where the user sees a command's shortcut and types another one.
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

/// Main thread only. While it listens no system-wide shortcut is bound, so that a combination that is in use
/// reaches the field.
class ShortcutField {
 public:
    struct Services {
        NSUserDefaults& defaults;
        HotKeyCenter& hotKeys;
        NSKeyMonitoring& keys;
        std::function<void()> registerHotKeys;  ///< binds all shortcuts anew
        std::function<void()> beep;
    };
    enum class Tone { primary, secondary, accent };

    /// What it shows. `message` is empty for none.
    struct Look {
        std::string label;
        Tone tone = Tone::primary;
        std::string help;
        std::string spelledOut;  ///< the label in words, for those who hear it
        std::string message;
        std::string restoreHelp;
        bool canRestore = false;
        bool operator==(const Look&) const = default;
    };

    /// What `services` refers to must outlive the field. `willListen` is called before it begins to listen.
    ShortcutField(ShortcutAction action, Services services, std::function<void()> willListen = {});
    /// Stops listening.
    ~ShortcutField();
    ShortcutField(const ShortcutField&) = delete;
    ShortcutField& operator=(const ShortcutField&) = delete;

    ShortcutAction action() const { return action_; }
    bool isListening() const { return listening_; }
    Published<Look> look;

    /// The button: begins to listen, or stops.
    void press();
    /// Stops listening and binds all shortcuts anew, also where it does not listen. To be called whenever the
    /// field is no longer seen.
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

/// The fields of all actions, in their order. One listens at a time.
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
