#include "Lumicrate/Shortcuts.h"

#include "Support/Text.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <limits>
#include <utility>

namespace lumicrate {

namespace {

constexpr std::string_view off = "off";

/// Blocks of capital letters whose small letters follow at a fixed distance: enough for what keyboards type.
struct CapitalLetters {
    char32_t first, last, distance;
};
constexpr CapitalLetters capitalLetters[] = {
    {U'A', U'Z', 32}, {U'À', U'Ö', 32}, {U'Ø', U'Þ', 32},
    {U'Α', U'Ω', 32}, {U'Ѐ', U'Џ', 80}, {U'А', U'Я', 32},
};

/// The text's only character; none when it has more, or one outside the Basic Multilingual Plane.
std::optional<char32_t> onlyCharacter(const std::string& text) {
    const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    const auto follows = [&](std::size_t i) { return (byte(i) & 0xC0U) == 0x80U; };
    if (text.size() == 1 && byte(0) < 0x80) return byte(0);
    if (text.size() == 2 && (byte(0) & 0xE0U) == 0xC0U && follows(1)) {
        return ((byte(0) & 0x1FU) << 6U) | (byte(1) & 0x3FU);
    }
    if (text.size() == 3 && (byte(0) & 0xF0U) == 0xE0U && follows(1) && follows(2)) {
        return ((byte(0) & 0x0FU) << 12U) | ((byte(1) & 0x3FU) << 6U) | (byte(2) & 0x3FU);
    }
    return std::nullopt;
}

std::string lowercased(const std::string& text, char32_t character) {
    for (const CapitalLetters& block : capitalLetters) {
        if (character < block.first || character > block.last) continue;
        const char32_t small = character + block.distance;
        if (small < 0x80) return {static_cast<char>(small)};
        return {static_cast<char>(0xC0U | (small >> 6U)), static_cast<char>(0x80U | (small & 0x3FU))};
    }
    return text;
}

/// A number that the hot-key service can take.
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

std::optional<std::string> Shortcut::keyEquivalent() const {
    if (key == "Space") return " ";
    // "↩" and the arrows are single characters too, but they stand for keys that type none.
    const auto& special = specialKeys();
    if (std::any_of(special.begin(), special.end(), [&](const auto& each) { return each.second == key; })) {
        return std::nullopt;
    }
    const auto character = onlyCharacter(key);
    if (!character) return std::nullopt;
    return lowercased(key, *character);
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

std::string label(ShortcutAction action) {
    switch (action) {
        case ShortcutAction::toggle:
            return localized("Start / stop");
        case ShortcutAction::pause:
            return localized("Pause / resume");
        case ShortcutAction::area:
            break;
    }
    return localized("Record area");
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
            break;
    }
    return {0, modifiers, "A"};
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
            // A key name that is not valid text cannot be stored, so the action has no shortcut.
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
