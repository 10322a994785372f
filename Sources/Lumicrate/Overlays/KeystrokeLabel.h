// SPDX-License-Identifier: GPL-3.0-or-later
// KeystrokeLabel: what a recording shows of a press, if anything.
#pragma once

#include "Platform/NSEvent.h"

#include <optional>
#include <string>

namespace lumicrate {

struct KeystrokeLabel {
    std::string text;          ///< "Ctrl+Shift+S", "F5", "←", "Ctrl+Click"; or the typed character
    bool isTyped = false;      ///< text that was typed, which continues what was typed before
    bool isModifiers = false;  ///< modifiers alone, which a command with them replaces

    bool operator==(const KeystrokeLabel&) const = default;
};

/// The label of a command, of a key that types nothing, and of a button with modifiers. None for modifiers
/// alone, for what goes up, for unknown keys, and, unless `showsTypedText`, for every key that types a
/// character or takes part in typing one.
std::optional<KeystrokeLabel> keystrokeLabel(const NSGlobalEvent& press, bool showsTypedText);

/// The label of modifiers that are held down without another key: "Ctrl+Shift". None without one of Ctrl, Alt
/// and Super: Shift alone is part of typing.
std::optional<KeystrokeLabel> modifiersLabel(const NSEvent& modifiers);

}  // namespace lumicrate
