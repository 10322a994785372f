// SPDX-License-Identifier: GPL-3.0-or-later
#include "Lumicrate/Overlays/KeystrokeLabel.h"

#include "Lumicrate/Shortcuts/Shortcut.h"
#include "Support/Text.h"

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <string_view>
#include <utility>

namespace lumicrate {

namespace {

struct NamedKey {
    std::uint32_t symbol;
    std::string_view name;
};

/// Keys that type nothing. Only those in this table and the function keys are shown without modifiers.
constexpr NamedKey namedKeys[] = {
    {0xff1b, translatableIn("key", "Esc")},
    {0xff0d, translatableIn("key", "Enter")},
    {0xff8d, translatableIn("key", "Enter")},
    {0xff09, translatableIn("key", "Tab")},
    {0xff08, translatableIn("key", "Backspace")},
    {0xffff, translatableIn("key", "Delete")},
    {0xff9f, translatableIn("key", "Delete")},
    {0xff63, translatableIn("key", "Insert")},
    {0xff9e, translatableIn("key", "Insert")},
    {0xff50, translatableIn("key", "Home")},
    {0xff95, translatableIn("key", "Home")},
    {0xff57, translatableIn("key", "End")},
    {0xff9c, translatableIn("key", "End")},
    {0xff55, translatableIn("key", "Page Up")},
    {0xff9a, translatableIn("key", "Page Up")},
    {0xff56, translatableIn("key", "Page Down")},
    {0xff9b, translatableIn("key", "Page Down")},
    {0xff61, translatableIn("key", "Print")},
    {0xff13, translatableIn("key", "Pause")},
    {0xff67, translatableIn("key", "Menu")},
    // XF86Audio…, XF86MonBrightness…, XF86Back and XF86Forward
    {0x1008ff11, translatableIn("key", "Volume Down")},
    {0x1008ff12, translatableIn("key", "Mute")},
    {0x1008ff13, translatableIn("key", "Volume Up")},
    {0x1008ff14, translatableIn("key", "Play")},
    {0x1008ff31, translatableIn("key", "Play")},
    {0x1008ff15, translatableIn("key", "Stop")},
    {0x1008ff16, translatableIn("key", "Previous Track")},
    {0x1008ff17, translatableIn("key", "Next Track")},
    {0x1008ff02, translatableIn("key", "Brighter")},
    {0x1008ff03, translatableIn("key", "Darker")},
    {0x1008ff26, translatableIn("key", "Back")},
    {0x1008ff27, translatableIn("key", "Forward")},
};

constexpr NamedKey arrows[] = {{0xff51, "←"}, {0xff52, "↑"}, {0xff53, "→"}, {0xff54, "↓"},
                               {0xff96, "←"}, {0xff97, "↑"}, {0xff98, "→"}, {0xff99, "↓"}};

/// Empty for a key that types something, a modifier, or an unknown key.
std::string nameOf(std::uint32_t symbol) {
    constexpr std::uint32_t f1 = 0xffbe;
    constexpr std::uint32_t f35 = 0xffe0;
    if (symbol >= f1 && symbol <= f35) return "F" + std::to_string(symbol - f1 + 1);
    const auto* const arrow = std::ranges::find(arrows, symbol, &NamedKey::symbol);
    if (arrow != std::end(arrows)) return std::string(arrow->name);
    const auto* const key = std::ranges::find(namedKeys, symbol, &NamedKey::symbol);
    return key == std::end(namedKeys) ? std::string() : localizedIn("key", key->name);
}

constexpr std::int64_t commands = Shortcut::cmdKey | Shortcut::optionKey | Shortcut::controlKey;

std::string buttonName(NSGlobalEvent::Source source) {
    switch (source) {
        case NSGlobalEvent::Source::middleButton:
            return localizedIn("key", "Middle Click");
        case NSGlobalEvent::Source::rightButton:
            return localizedIn("key", "Right Click");
        case NSGlobalEvent::Source::leftButton:
        case NSGlobalEvent::Source::key:
        case NSGlobalEvent::Source::modifiers:
            break;
    }
    return localizedIn("key", "Click");
}

}  // namespace

std::optional<KeystrokeLabel> keystrokeLabel(const NSGlobalEvent& press, bool showsTypedText) {
    if (press.isUp || press.source == NSGlobalEvent::Source::modifiers) return std::nullopt;
    const std::int64_t modifiers = modifiersOf(press.event);
    if (press.source != NSGlobalEvent::Source::key) {
        if (modifiers == 0) return std::nullopt;
        return KeystrokeLabel{spelledOutModifiers(modifiers) + buttonName(press.source)};
    }
    const bool isCommand = (modifiers & commands) != 0;
    if (press.types && !isCommand) {
        if (!showsTypedText || press.characters.empty()) return std::nullopt;
        return KeystrokeLabel{press.characters, true};
    }
    constexpr std::uint32_t space = ' ';
    std::string name = nameOf(press.symbol);
    if (name.empty() && isCommand)
        name = press.symbol == space ? localizedIn("key", "Space") : press.event.keyName;
    if (name.empty()) return std::nullopt;
    return KeystrokeLabel{spelledOutModifiers(modifiers) + name};
}

std::optional<KeystrokeLabel> modifiersLabel(const NSEvent& modifiers) {
    const std::int64_t held = modifiersOf(modifiers);
    if ((held & commands) == 0) return std::nullopt;
    std::string text = spelledOutModifiers(held);
    text.pop_back();
    return KeystrokeLabel{std::move(text), false, true};
}

}  // namespace lumicrate
