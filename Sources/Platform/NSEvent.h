// SPDX-License-Identifier: GPL-3.0-or-later
// Key and mouse events, and the monitors that receive them.
#pragma once

#include "Support/Geometry.h"
#include "Support/MediaTime.h"

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

/// A key or a mouse button that went down or up in the windows of any program, or a change of the modifiers
/// that are held down.
struct NSGlobalEvent {
    enum class Source { key, leftButton, middleButton, rightButton, modifiers };

    Source source = Source::key;
    std::uint32_t code = 0;  ///< of the key; the same when it goes down and up
    bool isUp = false;       ///< it went up: nothing below is set
    /// Of modifiers only the flags of those that are held down now. Of a button only the modifier flags. They
    /// are those that were down before the press, without modifiers that select the character: Ctrl where a
    /// layout has a character on Ctrl and this key. AltGr has no flag. The characters are those of a Latin
    /// layout of the keyboard, if it has one and a flag of a command is set: "c" for Ctrl and the key that
    /// types "с" in Russian.
    NSEvent event;
    /// The keysym of the key with Num Lock as it is and without other modifiers; with all of them if it types
    /// a character only without them (arrows on a layer of letters). 0 for a button.
    std::uint32_t symbol = 0;
    /// Whether the key types a character with the present modifiers, or begins one (dead keys, Compose). True
    /// also with Ctrl, Alt or Super, with which programs type nothing.
    bool types = false;
    /// What it types with the present modifiers, UTF-8: "@", or "é" after a dead accent. May be empty.
    std::string characters;
};

/// Where the pointer is, or that a mouse button went down there.
struct NSPointerEvent {
    int button = 0;  ///< 1 left, 2 middle, 3 right; 0 if only the position is reported
    /// The pixel of the whole desktop, y down from its top left corner.
    Point pixel;
    CMTime time;  ///< of the host clock
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

/// Monitors keys and mouse buttons over the windows of all programs, including our own. Main thread.
class NSGlobalMonitoring {
 public:
    virtual ~NSGlobalMonitoring() = default;
    /// `onEvent` is called on the main thread when a key (also a modifier) or the left, middle or right mouse
    /// button goes down or up, and when the modifiers that are held down change. A key that is held down and
    /// repeats goes down once. Throws PlatformError if the desktop does not report them.
    virtual std::unique_ptr<NSEventMonitor> addGlobalMonitor(
        std::function<void(const NSGlobalEvent&)> onEvent) = 0;
};

/// Follows the pointer over the windows of all programs, including our own. Main thread.
class NSPointerMonitoring {
 public:
    virtual ~NSPointerMonitoring() = default;
    /// `onEvent` is called on the main thread: with the present position during this call, then with each new
    /// one, at most about thirty times a second, and for every press of the left, middle and right button.
    /// Throws PlatformError if the desktop does not report them.
    virtual std::unique_ptr<NSEventMonitor> addPointerMonitor(
        std::function<void(const NSPointerEvent&)> onEvent) = 0;
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
