// SPDX-License-Identifier: GPL-3.0-or-later
// Shortcut: a key combination, the commands that it can trigger, and the storage of these bindings.
#pragma once

#include "Lumicrate/Recording/RawValues.h"
#include "Platform/CarbonHotKeys.h"
#include "Platform/NSEvent.h"
#include "Platform/NSUserDefaults.h"

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace lumicrate {

/// A key combination.
struct Shortcut {
    static constexpr std::int64_t cmdKey = 0x100;
    static constexpr std::int64_t shiftKey = 0x200;
    static constexpr std::int64_t optionKey = 0x800;
    static constexpr std::int64_t controlKey = 0x1000;

    std::int64_t keyCode = 0;    ///< virtual key code: 15 is R, 49 the space bar
    std::int64_t modifiers = 0;  ///< a mask of the four above
    std::string key;             ///< the displayed name of the key: "R", "F5", "Space"

    bool operator==(const Shortcut&) const = default;

    /// "⌃⌥⇧⌘R": the modifiers in that order, then the key.
    std::string display() const;
    /// "Ctrl+Alt+Shift+Super+R": the same in the words printed on PC keyboards.
    std::string spelledOut() const;
    /// The character of the key, for menus, with A … Z in lower case; none for keys that type no character.
    std::optional<std::string> keyEquivalent() const;
    /// The names of keys that are not named after the character that they type, by key code.
    static const std::map<std::int64_t, std::string_view>& specialKeys();
};

/// "Ctrl+Alt+Shift+Super+": the modifiers of such a mask in words, in that order.
std::string spelledOutModifiers(std::int64_t modifiers);

/// The modifiers of an event as such a mask. Its other modifiers are ignored.
std::int64_t modifiersOf(const NSEvent& event);

/// The shortcut that a key press stands for. None for a key without a name, and for a key without command,
/// option or control unless it is a function key.
std::optional<Shortcut> shortcutFrom(const NSEvent& event);

/// A command that can be triggered from any application.
enum class ShortcutAction { toggle, pause, area, replay };

template <>
struct RawValues<ShortcutAction> {
    static constexpr std::array<std::string_view, 4> names = {"toggle", "pause", "area", "replay"};
};

/// The displayed name of an action.
std::string label(ShortcutAction action);
/// What a desktop that assigns keys itself knows of an action.
HotKeyPurpose purpose(ShortcutAction action);
/// What does the same in a terminal or in the desktop's own keyboard settings: "lumicrate toggle".
std::string command(ShortcutAction action);
/// The preference key of the binding: an empty text for the default, "off" for none, or a shortcut as JSON.
std::string defaultsKey(ShortcutAction action);
Shortcut defaultShortcut(ShortcutAction action);
/// The current shortcut; none if it is turned off.
std::optional<Shortcut> shortcut(ShortcutAction action, const NSUserDefaults& defaults);
/// Stores a shortcut, or none. Throws PlatformError if it cannot be stored.
void save(ShortcutAction action, const std::optional<Shortcut>& shortcut, NSUserDefaults& defaults);
/// Parses the stored form. Returns `fallback` if it is not valid.
std::optional<Shortcut> decodeShortcut(const std::optional<std::string>& stored, const Shortcut& fallback);

}  // namespace lumicrate
