// SPDX-License-Identifier: GPL-3.0-or-later
// System-wide key combinations.
#pragma once

#include "Support/Published.h"

#include <cstdint>
#include <functional>
#include <map>
#include <string>

namespace lumicrate {

/// Identifies a registered combination to its owner.
struct EventHotKeyID {
    std::uint32_t signature = 0;
    std::uint32_t id = 0;
    bool operator==(const EventHotKeyID&) const = default;
};

/// Returned by RegisterEventHotKey; 0 means none.
using EventHotKeyRef = std::uint64_t;

/// What a combination is for. Only desktops that assign the keys themselves need it.
struct HotKeyPurpose {
    std::string name;         ///< identifies it for ever: "toggle"
    std::string description;  ///< for the user: "Start or stop recording"
    bool operator==(const HotKeyPurpose&) const = default;
};

/// What a desktop that assigns the keys itself has made of the registered combinations.
struct HotKeyAssignment {
    enum class State {
        pending,      ///< nothing is registered, or the desktop has not answered yet
        assigned,     ///< `triggers` are in force
        refused,      ///< none is in force: the desktop or the user declined
        unavailable,  ///< none is in force: the desktop has no global shortcuts for programs
    };

    State state = State::pending;
    std::string reason;  ///< why none is in force, one sentence for the user; empty otherwise
    /// The desktop's text of the keys, by HotKeyPurpose::name: "Ctrl+Shift+2". Empty if the desktop does not
    /// say, or has assigned no keys yet. Purposes that are missing are not in force.
    std::map<std::string, std::string> triggers;
    bool operator==(const HotKeyAssignment&) const = default;
};

/// Main thread only.
class CarbonHotKeys {
 public:
    virtual ~CarbonHotKeys() = default;

    /// Sets the one handler that is called, on the main thread, for every press of a registered combination.
    virtual void InstallEventHandler(std::function<void(EventHotKeyID)> handler) = 0;
    /// Registers a combination for the whole system. Key codes are virtual key codes (15 is the R key),
    /// modifiers a mask of 0x100 command, 0x200 shift, 0x800 option and 0x1000 control. Returns 0 if it is
    /// refused, typically because another application owns the combination.
    ///
    /// Where the desktop assigns the keys, the combination is a wish and nothing is refused here: see
    /// assignment().
    virtual EventHotKeyRef RegisterEventHotKey(std::uint32_t keyCode, std::uint32_t modifiers,
                                               EventHotKeyID id, const HotKeyPurpose& purpose) = 0;
    virtual void UnregisterEventHotKey(EventHotKeyRef hotKey) = 0;
    /// Whether the keyboard has a key of that virtual key code in its current layout. Without it every
    /// combination with that key is refused.
    virtual bool hasKey(std::uint32_t keyCode) = 0;
    /// Sets the one handler that is called, on the main thread, after the keyboard's layout has changed. A
    /// registered combination may be inactive then, and a refused one may be available: register all again.
    virtual void setOnLayoutChange(std::function<void()> handler) = 0;
    /// What the desktop has assigned; nullptr where the registered combinations themselves are in force.
    virtual const Published<HotKeyAssignment>* assignment() const { return nullptr; }
};

}  // namespace lumicrate
