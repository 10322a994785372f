// SPDX-License-Identifier: GPL-3.0-or-later
// GlobalShortcutsPortal: key combinations that reach the program while other programs have the focus, where
// the desktop decides about keys (Wayland).
#pragma once

#include "Linux/Portal/Registry.h"
#include "Support/Executor.h"
#include "Support/Task.h"

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace lumicrate::portal {

struct GlobalShortcut {
    std::string id;           ///< the program's own: "toggle"
    std::string description;  ///< for the user: "Start or stop recording"
    /// A wish, as modifiers CTRL, ALT, SHIFT, LOGO and an xkb key name: "CTRL+SHIFT+2". May be empty.
    std::string preferredTrigger;

    bool operator==(const GlobalShortcut&) const = default;
};

struct BoundShortcut {
    std::string id;
    std::string trigger;  ///< the desktop's description for the user: "Ctrl+Shift+2". May be empty.

    bool operator==(const BoundShortcut&) const = default;
};

/// Shortcuts that the desktop delivers while this exists. Main thread. A moved-from object may only be
/// destroyed or assigned to.
class GlobalShortcuts {
 public:
    GlobalShortcuts(GlobalShortcuts&&) noexcept;
    GlobalShortcuts& operator=(GlobalShortcuts&&) noexcept;
    /// Ends the delivery. The desktop remembers the user's choice of keys.
    ~GlobalShortcuts();

    /// The shortcuts in force. Empty if the desktop bound none: the user may still assign keys in the
    /// desktop's settings, which setOnChanged() reports.
    const std::vector<BoundShortcut>& bound() const;

    /// `handler` receives the identifier of a shortcut when its keys are pressed.
    void setOnActivated(std::function<void(const std::string& id)> handler);
    /// `handler` is called after bound() has changed.
    void setOnChanged(std::function<void()> handler);
    /// `handler` is called once, when the desktop has ended the delivery, for example because the portal was
    /// restarted; also if that was before this call. Binding again restores it.
    void setOnClosed(std::function<void()> handler);
    // All handlers are called from the executor and may destroy this.

 private:
    friend class GlobalShortcutsPortal;
    class Delivery;
    explicit GlobalShortcuts(std::unique_ptr<Delivery> delivery);

    std::unique_ptr<Delivery> delivery_;
};

/// Main thread. Must outlive its tasks. The executor and the registry outlive the portal.
class GlobalShortcutsPortal {
 public:
    /// `timeout` limits each step in which nobody is asked.
    GlobalShortcutsPortal(Executor& executor, Registry& registry,
                          std::chrono::milliseconds timeout = std::chrono::seconds(10));

    /// Waits for the portal, up to a second, also when it has to be started first. Any thread.
    static bool isAvailable();

    /// Binds all shortcuts at once. Some desktops ask the user when they see a shortcut for the first time,
    /// so this waits without a limit. Nothing if the user declined. Destroying the task withdraws the
    /// question. Throws PortalError.
    ///
    /// To change the list, destroy the previous GlobalShortcuts and bind again. `parentWindow` is as in
    /// ScreenCastRequest.
    Task<std::optional<GlobalShortcuts>> bind(std::vector<GlobalShortcut> shortcuts,
                                              std::string parentWindow = {});

 private:
    Executor& executor_;
    Registry& registry_;
    std::chrono::milliseconds timeout_;
};

}  // namespace lumicrate::portal
