// SPDX-License-Identifier: GPL-3.0-or-later
#include "Lumicrate/Shortcuts/Shortcut.h"

#include "Support/Text.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <limits>
#include <utility>

namespace lumicrate {

namespace {

constexpr std::string_view off = "off";

/// A number within the range of the hot-key service.
std::optional<std::int64_t> readNumber(const nlohmann::json& object, const char* name) {
    const auto found = object.find(name);
    if (found == object.end() || !found->is_number_integer()) return std::nullopt;
    if (found->is_number_unsigned() &&
        found->get<std::uint64_t>() > std::numeric_limits<std::uint32_t>::max()) {
        return std::nullopt;
    }
    const auto number = found->get<std::int64_t>();
    if (number < 0) return std::nullopt;
    return number;
}

std::optional<Shortcut> fromJson(const std::string& text) {
    const auto object = nlohmann::json::parse(text, nullptr, /*allow_exceptions=*/false);
    if (!object.is_object()) return std::nullopt;
    const auto keyCode = readNumber(object, "keyCode");
    const auto modifiers = readNumber(object, "modifiers");
    const auto key = object.find("key");
    if (!keyCode || !modifiers || key == object.end() || !key->is_string()) return std::nullopt;
    return Shortcut{*keyCode, *modifiers, key->get<std::string>()};
}

/// The number of characters of a valid UTF-8 text.
std::ptrdiff_t characterCount(const std::string& text) {
    return std::count_if(text.begin(), text.end(), [](char byte) { return (byte & 0xC0) != 0x80; });
}

/// The word for a key whose name is a symbol; other names unchanged.
std::string spelledOutKey(const std::string& key) {
    constexpr std::pair<std::string_view, std::string_view> words[] = {
        {"Space", translatableIn("key", "Space")}, {"↩", translatableIn("key", "Enter")},
        {"⇥", translatableIn("key", "Tab")},       {"←", translatableIn("key", "Left")},
        {"→", translatableIn("key", "Right")},     {"↑", translatableIn("key", "Up")},
        {"↓", translatableIn("key", "Down")},      {"↖", translatableIn("key", "Home")},
        {"↘", translatableIn("key", "End")},       {"⇞", translatableIn("key", "Page Up")},
        {"⇟", translatableIn("key", "Page Down")}};
    for (const auto& [symbol, word] : words) {
        if (key == symbol) return localizedIn("key", word);
    }
    return key;
}

}  // namespace

std::string Shortcut::display() const {
    constexpr std::pair<std::int64_t, std::string_view> symbols[] = {
        {controlKey, "⌃"}, {optionKey, "⌥"}, {shiftKey, "⇧"}, {cmdKey, "⌘"}};
    std::string text;
    for (const auto& [mask, symbol] : symbols) {
        if ((modifiers & mask) != 0) text += symbol;
    }
    return text + key;
}

std::string Shortcut::spelledOut() const {
    return spelledOutModifiers(modifiers) + spelledOutKey(key);
}

std::string spelledOutModifiers(std::int64_t modifiers) {
    constexpr std::pair<std::int64_t, std::string_view> names[] = {
        {Shortcut::controlKey, translatableIn("key", "Ctrl")},
        {Shortcut::optionKey, translatableIn("key", "Alt")},
        {Shortcut::shiftKey, translatableIn("key", "Shift")},
        {Shortcut::cmdKey, translatableIn("key", "Super")}};
    std::string text;
    for (const auto& [mask, name] : names) {
        if ((modifiers & mask) != 0) text += localizedIn("key", name) + "+";
    }
    return text;
}

std::int64_t modifiersOf(const NSEvent& event) {
    constexpr std::pair<std::uint64_t, std::int64_t> flags[] = {{NSEvent::commandFlag, Shortcut::cmdKey},
                                                                {NSEvent::optionFlag, Shortcut::optionKey},
                                                                {NSEvent::controlFlag, Shortcut::controlKey},
                                                                {NSEvent::shiftFlag, Shortcut::shiftKey}};
    std::int64_t mask = 0;
    for (const auto& [flag, modifier] : flags) {
        if ((event.modifierFlags & flag) != 0) mask |= modifier;
    }
    return mask;
}

std::optional<std::string> Shortcut::keyEquivalent() const {
    if (key == "Space") return " ";
    // "↩" and the arrows are single characters too, but their keys type no character.
    const auto& special = specialKeys();
    if (std::any_of(special.begin(), special.end(), [&](const auto& each) { return each.second == key; })) {
        return std::nullopt;
    }
    if (characterCount(key) != 1) return std::nullopt;
    const bool isCapital = key.front() >= 'A' && key.front() <= 'Z';
    return isCapital ? std::string(1, static_cast<char>(key.front() - 'A' + 'a')) : key;
}

const std::map<std::int64_t, std::string_view>& Shortcut::specialKeys() {
    static const std::map<std::int64_t, std::string_view> names = {
        {49, "Space"}, {36, "↩"},    {48, "⇥"},    {123, "←"},   {124, "→"},   {126, "↑"},
        {125, "↓"},    {115, "↖"},   {119, "↘"},   {116, "⇞"},   {121, "⇟"},   {122, "F1"},
        {120, "F2"},   {99, "F3"},   {118, "F4"},  {96, "F5"},   {97, "F6"},   {98, "F7"},
        {100, "F8"},   {101, "F9"},  {109, "F10"}, {103, "F11"}, {111, "F12"}, {105, "F13"},
        {107, "F14"},  {113, "F15"}, {106, "F16"}, {64, "F17"},  {79, "F18"},  {80, "F19"},
    };
    return names;
}

std::optional<Shortcut> shortcutFrom(const NSEvent& event) {
    if (event.keyCode < 0 || event.keyCode > std::numeric_limits<std::uint32_t>::max()) return std::nullopt;
    const std::int64_t modifiers = modifiersOf(event);
    const auto special = Shortcut::specialKeys().find(event.keyCode);
    const bool isSpecial = special != Shortcut::specialKeys().end();
    const std::string name = isSpecial ? std::string(special->second) : event.keyName;
    if (name.empty()) return std::nullopt;
    const bool isFunctionKey = isSpecial && special->second.starts_with('F');
    constexpr std::int64_t sufficient = Shortcut::cmdKey | Shortcut::optionKey | Shortcut::controlKey;
    if ((modifiers & sufficient) == 0 && !isFunctionKey) return std::nullopt;
    return Shortcut{event.keyCode, modifiers, name};
}

std::string label(ShortcutAction action) {
    switch (action) {
        case ShortcutAction::toggle:
            return localized("Start / stop");
        case ShortcutAction::pause:
            return localized("Pause / resume");
        case ShortcutAction::area:
            return localized("Record area");
        case ShortcutAction::replay:
            break;
    }
    return localized("Save the last seconds");
}

HotKeyPurpose purpose(ShortcutAction action) {
    constexpr std::array<std::string_view, 4> descriptions = {
        translatable("Start or stop recording"), translatable("Pause or resume recording"),
        translatable("Record an area"), translatable("Save what was shown in the last seconds")};
    return {std::string(rawValue(action)), localized(descriptions[static_cast<std::size_t>(action)])};
}

std::string command(ShortcutAction action) {
    return "lumicrate " + std::string(rawValue(action)) + (action == ShortcutAction::replay ? " --save" : "");
}

std::string defaultsKey(ShortcutAction action) {
    return "shortcut." + std::string(rawValue(action));
}

Shortcut defaultShortcut(ShortcutAction action) {
    constexpr std::int64_t modifiers = Shortcut::optionKey | Shortcut::cmdKey;
    switch (action) {
        case ShortcutAction::toggle:
            return {15, modifiers, "R"};
        case ShortcutAction::pause:
            return {35, modifiers, "P"};
        case ShortcutAction::area:
            return {0, modifiers, "A"};
        case ShortcutAction::replay:
            break;
    }
    return {1, modifiers, "S"};
}

std::optional<Shortcut> shortcut(ShortcutAction action, const NSUserDefaults& defaults) {
    return decodeShortcut(defaults.stringForKey(defaultsKey(action)), defaultShortcut(action));
}

void save(ShortcutAction action, const std::optional<Shortcut>& shortcut, NSUserDefaults& defaults) {
    std::string text(off);
    if (shortcut) {
        const nlohmann::json object = {
            {"keyCode", shortcut->keyCode}, {"modifiers", shortcut->modifiers}, {"key", shortcut->key}};
        try {
            text = object.dump();
        } catch (const nlohmann::json::exception&) {
            // A key name that is not valid UTF-8 cannot be stored, so the action gets no shortcut.
        }
    }
    defaults.set(defaultsKey(action), text);
}

std::optional<Shortcut> decodeShortcut(const std::optional<std::string>& stored, const Shortcut& fallback) {
    if (!stored || stored->empty()) return fallback;
    if (*stored == off) return std::nullopt;
    return fromJson(*stored).value_or(fallback);
}

}  // namespace lumicrate
