// SPDX-License-Identifier: GPL-3.0-or-later
// TypedSymbols: the characters that keysyms stand for, and the composition of accents and other sequences.
#pragma once

#include <xcb/xproto.h>

#include <memory>
#include <string>

struct xkb_compose_state;

namespace lumicrate::x11 {

/// The character of a keysym, UTF-8. Empty if it has none, or a control character.
std::string charactersOf(xcb_keysym_t symbol);
/// The capital of that character: "R", "Ж". Empty likewise.
std::string keyNameOf(xcb_keysym_t symbol);
/// Whether a press of it types a character or begins one: a dead key, Compose.
bool typesCharacter(xcb_keysym_t symbol);

/// Composes characters by the sequences of the locale, such as a dead acute accent and "e".
class Composition {
 public:
    Composition();
    ~Composition();
    Composition(const Composition&) = delete;
    Composition& operator=(const Composition&) = delete;

    /// The text that the next symbol of what is typed leads to: its own character, that of the sequence which
    /// it completes, or nothing inside of a sequence. Feed it with all symbols, also modifiers.
    std::string next(xcb_keysym_t symbol);

 private:
    struct Release {
        void operator()(xkb_compose_state* state) const;
    };
    void load();

    bool isLoaded_ = false;
    /// Loaded with the first key that begins a sequence. Null if the locale has none.
    std::unique_ptr<xkb_compose_state, Release> state_;
};

}  // namespace lumicrate::x11
