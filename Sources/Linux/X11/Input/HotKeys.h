// HotKeys: system-wide key combinations, taken from an X server.
#pragma once

#include "Linux/X11/Input/KeyCodes.h"
#include "Linux/X11/Input/KeyGrabs.h"
#include "Linux/X11/Input/KeyboardEvents.h"
#include "Linux/X11/Server/Connection.h"
#include "Linux/X11/Server/EventThread.h"
#include "Platform/CarbonHotKeys.h"
#include "Support/Executor.h"

#include <bitset>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace lumicrate::x11 {

/// Command is the Super key, option is Alt. Locks do not count. A combination follows what is printed on the
/// keys: with another layout it moves to the key that bears the same sign there. Should that be somebody
/// else's, the combination is dead until the layout changes again.
///
/// A key that is held down is one press. Where the server goes, no more presses come, and everything is
/// refused.
class HotKeys final : public CarbonHotKeys {
 public:
    /// `mainThread` must outlive this, and is where the handler is called; `displayName` is the X server's
    /// (":1"), or empty for the one of $DISPLAY. Throws PlatformError when no server can be reached.
    explicit HotKeys(Executor& mainThread, const std::string& displayName = {});
    ~HotKeys() override;
    HotKeys(const HotKeys&) = delete;
    HotKeys& operator=(const HotKeys&) = delete;

    void InstallEventHandler(std::function<void(EventHotKeyID)> handler) override;
    /// Also refuses a combination that is registered here already, and a key that the keyboard has not.
    EventHotKeyRef RegisterEventHotKey(std::uint32_t keyCode, std::uint32_t modifiers,
                                       EventHotKeyID id) override;
    void UnregisterEventHotKey(EventHotKeyRef hotKey) override;

    /// The virtual key code of a key by the server's number, as a toolkit tells it; -1 for one that has none.
    std::int64_t virtualKeyCodeOf(std::uint32_t key);
    /// What such a key types without modifiers; 0 for nothing.
    std::uint32_t keysymOf(std::uint32_t key);
    /// How many events the server has told so far. Any thread.
    std::uint64_t eventCount() const { return events_.eventCount(); }

 private:
    struct HotKey {
        EventHotKeyRef ref = 0;
        std::uint32_t keyCode = 0;
        KeyCombination combination;
        bool grabbed = false;
    };
    struct Delivery;

    void hear(const xcb_generic_event_t& event);
    void press(const xcb_key_press_event_t& event);
    void release(xcb_keycode_t key);
    void followKeyboard();
    void grabAll();
    void ungrabAll();
    bool isTaken(const KeyCombination& combination) const;

    Executor& mainThread_;
    std::shared_ptr<Delivery> delivery_;  ///< the main thread's
    EventHotKeyRef lastRef_ = 0;

    // Whoever has access to events_:
    Connection connection_;
    KeyboardEvents keyboard_;
    KeyboardMap map_;
    KeyCodes codes_;
    std::uint16_t locks_ = 0;
    std::vector<HotKey> hotKeys_;
    std::bitset<256> down_;        ///< keys that were pressed and not yet released, as far as is told
    xcb_keycode_t firstDown_ = 0;  ///< the server tells of keys for as long as this is down; 0 for none

    EventThread events_;  // last: its thread uses all the others
};

}  // namespace lumicrate::x11
