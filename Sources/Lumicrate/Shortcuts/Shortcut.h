// Shortcuts: key combinations, the commands that they can be bound to, and how the bindings are stored.
#pragma once

#include "Lumicrate/Recording/RawValues.h"
#include "Platform/NSEvent.h"
#include "Platform/NSUserDefaults.h"

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace lumicrate {

/// A key with modifiers.
struct Shortcut {
    static constexpr std::int64_t cmdKey = 0x100;
    static constexpr std::int64_t shiftKey = 0x200;
    static constexpr std::int64_t optionKey = 0x800;
    static constexpr std::int64_t controlKey = 0x1000;

    std::int64_t keyCode = 0;    ///< virtual key code: 15 is R, 49 the space bar
    std::int64_t modifiers = 0;  ///< a mask of the four above
    std::string key;             ///< the key's name for people: "R", "F5", "Space"

    bool operator==(const Shortcut&) const = default;

    /// "⌃⌥⇧⌘R": the modifiers in that order, then the key.
    std::string display() const;
    /// "Ctrl+Alt+Shift+Super+R": the same, as keyboards have it printed on their keys.
    std::string spelledOut() const;
    /// The single character that a menu shows as this shortcut's key; none for keys that are no character.
    std::optional<std::string> keyEquivalent() const;
    /// The names of keys that type no character of their own, by key code.
    static const std::map<std::int64_t, std::string_view>& specialKeys();
};

/// What a key press says; none where it is no shortcut: a key that types nothing and has no name, or one
/// without command, option or control that is no function key.
std::optional<Shortcut> shortcutFrom(const NSEvent& event);

/// A command that can be triggered from any application.
enum class ShortcutAction { toggle, pause, area };

template <>
struct RawValues<ShortcutAction> {
    static constexpr std::array<std::string_view, 3> names = {"toggle", "pause", "area"};
};

/// For people.
std::string label(ShortcutAction action);
/// Under which the binding is stored: an empty text for the default, "off" for none, or a shortcut as JSON.
std::string defaultsKey(ShortcutAction action);
Shortcut defaultShortcut(ShortcutAction action);
/// The action's current shortcut; none when it is turned off.
std::optional<Shortcut> shortcut(ShortcutAction action, const NSUserDefaults& defaults);
/// Stores a shortcut, or that there is none. Throws PlatformError when it cannot be stored.
void save(ShortcutAction action, const std::optional<Shortcut>& shortcut, NSUserDefaults& defaults);
/// Reads the stored form; what cannot be understood gives `fallback`.
std::optional<Shortcut> decodeShortcut(const std::optional<std::string>& stored, const Shortcut& fallback);

}  // namespace lumicrate
