// SPDX-License-Identifier: GPL-3.0-or-later
// KeystrokeLabel: what a recording shows of a press, if anything.
#pragma once

#include "Platform/NSEvent.h"

#include <optional>
#include <string>

namespace lumicrate {

struct KeystrokeLabel {
    std::string text;      ///< "Ctrl+Shift+S", "F5", "←", "Ctrl+Click"; or the typed character
    bool isTyped = false;  ///< text that was typed, which continues what was typed before

    bool operator==(const KeystrokeLabel&) const = default;
};

/// The label of a command, of a key that types nothing, and of a button with modifiers. None for modifiers
/// alone, for unknown keys, and, unless `showsTypedText`, for every key that types a character or takes part
/// in typing one.
std::optional<KeystrokeLabel> keystrokeLabel(const NSGlobalEvent& press, bool showsTypedText);

}  // namespace lumicrate
