// SPDX-License-Identifier: GPL-3.0-or-later
// PortalHotKeys: system-wide key combinations through the desktop portal, where the desktop assigns the keys
// (Wayland).
#pragma once

#include "Linux/Portal/GlobalShortcutsPortal.h"
#include "Linux/Portal/Registry.h"
#include "Platform/CarbonHotKeys.h"
#include "Support/Executor.h"
#include "Support/Published.h"
#include "Support/Task.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

class QDBusServiceWatcher;

namespace lumicrate::portal {

/// The portal binds a whole list at once and may ask the user, so the registered combinations are bound when
/// the main thread is free again, and the outcome is in assignment(). A list that does not differ from the
/// last one is not bound again, whatever its outcome. While nothing is registered, the desktop delivers
/// nothing, and the keys reach the focused window.
///
/// When the desktop ends the delivery, the combinations are bound again a second later; likewise when a
/// portal appears after there was none.
class PortalHotKeys final : public CarbonHotKeys {
 public:
    /// Both must outlive the object.
    PortalHotKeys(Executor& executor, Registry& registry);
    ~PortalHotKeys() override;
    PortalHotKeys(const PortalHotKeys&) = delete;
    PortalHotKeys& operator=(const PortalHotKeys&) = delete;

    void InstallEventHandler(std::function<void(EventHotKeyID)> handler) override {
        handler_ = std::move(handler);
    }
    /// Refuses nothing. A key without a name is registered without a wish.
    EventHotKeyRef RegisterEventHotKey(std::uint32_t keyCode, std::uint32_t modifiers, EventHotKeyID id,
                                       const HotKeyPurpose& purpose) override;
    void UnregisterEventHotKey(EventHotKeyRef hotKey) override;
    /// Always true: the desktop knows the keyboard.
    bool hasKey(std::uint32_t /*keyCode*/) override { return true; }
    /// Never called: the desktop follows the layout.
    void setOnLayoutChange(std::function<void()> /*handler*/) override {}
    const Published<HotKeyAssignment>* assignment() const override { return &assignment_; }

    /// A combination as the portal wants it: "CTRL+ALT+Return". Empty for a code without a name.
    static std::string trigger(std::uint32_t keyCode, std::uint32_t modifiers);

 private:
    struct HotKey {
        EventHotKeyRef ref = 0;
        EventHotKeyID id;
        GlobalShortcut shortcut;
    };

    void bindAgain();
    void bindSoon(std::chrono::nanoseconds delay = {});
    void bindIfChanged();
    Task<void> bind(std::vector<GlobalShortcut> wanted);
    void follow();
    void activated(const std::string& name) const;
    void publish(HotKeyAssignment next);

    Executor& executor_;
    GlobalShortcutsPortal portal_;
    std::function<void(EventHotKeyID)> handler_;
    Published<HotKeyAssignment> assignment_;
    std::vector<HotKey> hotKeys_;
    EventHotKeyRef lastRef_ = 0;
    std::optional<std::vector<GlobalShortcut>> wanted_;  ///< the list that was bound last, or is being bound
    std::optional<Executor::TimerId> timer_;             ///< until the list is bound
    std::optional<GlobalShortcuts> bound_;
    std::unique_ptr<QDBusServiceWatcher> portalStart_;
    RunningTask binding_;  ///< destroyed first: it uses the rest
};

}  // namespace lumicrate::portal
