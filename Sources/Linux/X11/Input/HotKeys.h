// SPDX-License-Identifier: GPL-3.0-or-later
// HotKeys: system-wide key combinations, grabbed from an X server.
#pragma once

#include "Linux/X11/Input/KeyCodes.h"
#include "Linux/X11/Server/Connection.h"
#include "Linux/X11/Server/EventThread.h"
#include "Platform/CarbonHotKeys.h"
#include "Support/Executor.h"

#include <bitset>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace lumicrate::x11 {

/// An X key code with the modifiers that must be down.
struct KeyCombination {
    xcb_keycode_t key = 0;
    std::uint16_t modifiers = 0;
    bool operator==(const KeyCombination&) const = default;
};

/// Command is the Super key, option is Alt. Caps Lock, Num Lock and Scroll Lock are ignored. A combination
/// follows the layout: after a change it moves to the key with the same symbol. If another client has that
/// combination, ours is inactive until the layout changes again.
///
/// A key that is held down counts as one press. After the connection is lost, no more presses are reported
/// and every registration is refused.
class HotKeys final : public CarbonHotKeys {
 public:
    /// The handler is called on `mainThread`, which must outlive the object. `displayName` is an X display
    /// (":1"), or empty for $DISPLAY. Throws PlatformError if the server cannot be reached.
    explicit HotKeys(Executor& mainThread, const std::string& displayName = {});
    ~HotKeys() override;
    HotKeys(const HotKeys&) = delete;
    HotKeys& operator=(const HotKeys&) = delete;

    void InstallEventHandler(std::function<void(EventHotKeyID)> handler) override;
    /// Also refuses a combination that is already registered, and a code that no key has.
    EventHotKeyRef RegisterEventHotKey(std::uint32_t keyCode, std::uint32_t modifiers, EventHotKeyID id,
                                       const HotKeyPurpose& purpose) override;
    void UnregisterEventHotKey(EventHotKeyRef hotKey) override;
    bool hasKey(std::uint32_t keyCode) override;
    void setOnLayoutChange(std::function<void()> handler) override { layoutChanged_ = std::move(handler); }

    /// The virtual key code of an X key code; -1 if it has none.
    std::int64_t virtualKeyCodeOf(std::uint32_t key);
    /// The symbol that an X key code types without modifiers; 0 for none.
    std::uint32_t keysymOf(std::uint32_t key);
    /// The number of events received so far. Any thread.
    std::uint64_t eventCount() const { return events_.eventCount(); }

 private:
    struct HotKey {
        EventHotKeyRef ref = 0;
        EventHotKeyID id;
        std::uint32_t keyCode = 0;
        KeyCombination combination;
        bool grabbed = false;
    };

    void handleEvent(const xcb_generic_event_t& event);
    void press(const xcb_key_press_event_t& event);
    void deliver(EventHotKeyRef ref);
    void release(xcb_keycode_t key);
    void followKeyboard();
    void grabAll();
    void ungrabAll();
    bool isTaken(const KeyCombination& combination) const;

    Executor& mainThread_;
    std::function<void(EventHotKeyID)> handler_;
    std::function<void()> layoutChanged_;
    // Posted presses hold this weakly.
    std::shared_ptr<HotKeys*> self_;
    EventHotKeyRef lastRef_ = 0;

    // Guarded by access to events_:
    Connection connection_;
    KeyboardEvents keyboard_;
    KeyboardMap map_;
    KeyCodes codes_;
    std::uint16_t locks_ = 0;
    std::vector<HotKey> hotKeys_;
    std::bitset<256> down_;        ///< keys that are down, as far as it is reported
    xcb_keycode_t firstDown_ = 0;  ///< key events are reported while this is down; 0 for none

    EventThread events_;  // Destroyed first: its thread uses all the others.
};

}  // namespace lumicrate::x11
