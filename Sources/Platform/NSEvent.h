// SPDX-License-Identifier: GPL-3.0-or-later
// Key and mouse events, and the monitors that receive them.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

namespace lumicrate {

/// A key that went down.
struct NSEvent {
    static constexpr std::uint64_t shiftFlag = 1U << 17;
    static constexpr std::uint64_t controlFlag = 1U << 18;
    static constexpr std::uint64_t optionFlag = 1U << 19;
    static constexpr std::uint64_t commandFlag = 1U << 20;

    std::int64_t keyCode = -1;                ///< virtual key code: 15 is R, 53 Escape; -1 if unknown
    std::uint64_t modifierFlags = 0;          ///< the four above; ignore others
    std::string charactersIgnoringModifiers;  ///< what the key types without modifiers, UTF-8; may be empty
    /// The name of the key: those characters in upper case ("R", "Ž"), or empty if they are control
    /// characters.
    std::string keyName;
};

/// An installed monitor; destroying it removes the monitor.
class NSEventMonitor {
 public:
    virtual ~NSEventMonitor() = default;
};

/// Monitors mouse buttons over the windows of all programs, including our own. Main thread.
class NSMouseMonitoring {
 public:
    virtual ~NSMouseMonitoring() = default;
    /// `onMouseDown` is called on the main thread for every press of the left or the right (`secondary`)
    /// button. It is never called if the desktop does not report clicks.
    virtual std::unique_ptr<NSEventMonitor> addMouseDownMonitor(
        std::function<void(bool secondary)> onMouseDown) = 0;
};

/// Monitors the keys that this program's windows receive. Main thread.
class NSKeyMonitoring {
 public:
    virtual ~NSKeyMonitoring() = default;
    /// `onKeyDown` is called for every key-down event before its window receives it. Returning true consumes
    /// the event.
    virtual std::unique_ptr<NSEventMonitor> addKeyDownMonitor(
        std::function<bool(const NSEvent&)> onKeyDown) = 0;
};

}  // namespace lumicrate
