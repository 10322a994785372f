// SPDX-License-Identifier: GPL-3.0-or-later
// System-wide key combinations.
#pragma once

#include <cstdint>
#include <functional>

namespace lumicrate {

/// Identifies a registered combination to its owner.
struct EventHotKeyID {
    std::uint32_t signature = 0;
    std::uint32_t id = 0;
    bool operator==(const EventHotKeyID&) const = default;
};

/// Returned by RegisterEventHotKey; 0 means none.
using EventHotKeyRef = std::uint64_t;

/// Main thread only.
class CarbonHotKeys {
 public:
    virtual ~CarbonHotKeys() = default;

    /// Sets the one handler that is called, on the main thread, for every press of a registered combination.
    virtual void InstallEventHandler(std::function<void(EventHotKeyID)> handler) = 0;
    /// Registers a combination for the whole system. Key codes are virtual key codes (15 is the R key),
    /// modifiers a mask of 0x100 command, 0x200 shift, 0x800 option and 0x1000 control. Returns 0 if it is
    /// refused, typically because another application owns the combination.
    virtual EventHotKeyRef RegisterEventHotKey(std::uint32_t keyCode, std::uint32_t modifiers,
                                               EventHotKeyID id) = 0;
    virtual void UnregisterEventHotKey(EventHotKeyRef hotKey) = 0;
    /// Whether the keyboard has a key of that virtual key code in its current layout. Without it every
    /// combination with that key is refused.
    virtual bool hasKey(std::uint32_t keyCode) = 0;
    /// Sets the one handler that is called, on the main thread, after the keyboard's layout has changed. A
    /// registered combination may be inactive then, and a refused one may be available: register all again.
    virtual void setOnLayoutChange(std::function<void()> handler) = 0;
};

}  // namespace lumicrate
