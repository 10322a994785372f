// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/X11/Input/TypedSymbols.h"

#include <xkbcommon/xkbcommon-compose.h>
#include <xkbcommon/xkbcommon.h>

#include <array>
#include <clocale>
#include <cstddef>

namespace lumicrate::x11 {

namespace {

bool beginsSequence(xcb_keysym_t symbol) {
    constexpr xcb_keysym_t firstDead = 0xfe50;
    constexpr xcb_keysym_t lastDead = 0xfe9f;
    return (symbol >= firstDead && symbol <= lastDead) || symbol == XKB_KEY_Multi_key;
}

}  // namespace

std::string charactersOf(xcb_keysym_t symbol) {
    constexpr std::uint32_t deleteCharacter = 0x7f;
    const std::uint32_t character = xkb_keysym_to_utf32(symbol);
    if (character < ' ' || (character >= deleteCharacter && character < 0xa0)) return {};
    std::array<char, 8> text{};
    xkb_keysym_to_utf8(symbol, text.data(), text.size());
    return text.data();
}

std::string keyNameOf(xcb_keysym_t symbol) {
    return charactersOf(xkb_keysym_to_upper(symbol));
}

bool typesCharacter(xcb_keysym_t symbol) {
    return beginsSequence(symbol) || !charactersOf(symbol).empty();
}

Composition::Composition() = default;
Composition::~Composition() = default;

void Composition::Release::operator()(xkb_compose_state* state) const {
    xkb_compose_state_unref(state);
}

void Composition::load() {
    isLoaded_ = true;
    xkb_context* const context = xkb_context_new(XKB_CONTEXT_NO_FLAGS);
    if (!context) return;
    const char* const locale = std::setlocale(LC_CTYPE, nullptr);
    xkb_compose_table* const table =
        xkb_compose_table_new_from_locale(context, locale ? locale : "C", XKB_COMPOSE_COMPILE_NO_FLAGS);
    if (table) state_.reset(xkb_compose_state_new(table, XKB_COMPOSE_STATE_NO_FLAGS));
    xkb_compose_table_unref(table);
    xkb_context_unref(context);
}

std::string Composition::next(xcb_keysym_t symbol) {
    if (!isLoaded_ && beginsSequence(symbol)) load();
    if (!state_ || xkb_compose_state_feed(state_.get(), symbol) == XKB_COMPOSE_FEED_IGNORED)
        return charactersOf(symbol);
    std::array<char, 64> text{};
    switch (xkb_compose_state_get_status(state_.get())) {
        case XKB_COMPOSE_COMPOSING:
        case XKB_COMPOSE_CANCELLED:
            return {};
        case XKB_COMPOSE_COMPOSED:
            xkb_compose_state_get_utf8(state_.get(), text.data(), text.size());
            return text.data();
        case XKB_COMPOSE_NOTHING:
            break;
    }
    return charactersOf(symbol);
}

}  // namespace lumicrate::x11
