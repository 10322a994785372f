// Keys and clicks as events, and the monitors that hear of them.
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

    std::int64_t keyCode = -1;        ///< virtual key code: 15 is R, 53 Escape; -1 for a key that has none
    std::uint64_t modifierFlags = 0;  ///< the four above; others are to be ignored
    std::string charactersIgnoringModifiers;  ///< what it types without modifiers, UTF-8; may be empty
};

/// A monitor that is installed for as long as this lives.
class NSEventMonitor {
 public:
    virtual ~NSEventMonitor() = default;
};

/// Hears of mouse buttons, whatever program's window is under the pointer, our own included. Main thread.
class NSMouseMonitoring {
 public:
    virtual ~NSMouseMonitoring() = default;
    /// `onMouseDown` is called on the main thread for every press of the left button, or of the right one
    /// (`secondary`). Where the desktop tells nothing of that kind it is never called.
    virtual std::unique_ptr<NSEventMonitor> addMouseDownMonitor(
        std::function<void(bool secondary)> onMouseDown) = 0;
};

/// Hears of keys that reach this program's windows. Main thread.
class NSKeyMonitoring {
 public:
    virtual ~NSKeyMonitoring() = default;
    /// `onKeyDown` is called for every key-down event before its window gets it, and keeps it from the window
    /// where it returns true.
    virtual std::unique_ptr<NSEventMonitor> addKeyDownMonitor(
        std::function<bool(const NSEvent&)> onKeyDown) = 0;
};

}  // namespace lumicrate
