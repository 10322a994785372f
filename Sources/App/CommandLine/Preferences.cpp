// SPDX-License-Identifier: GPL-3.0-or-later
#include "App/CommandLine/Preferences.h"

#include "App/CommandLine/CommandLine.h"
#include "App/CommandLine/Printing.h"
#include "Linux/Desktop/UserDefaults.h"
#include "Lumicrate/Overlays/WebcamBubbleModel.h"
#include "Lumicrate/Recording/RecordingOptions.h"
#include "Lumicrate/Shell/AfterSave.h"
#include "Lumicrate/Shortcuts/Shortcut.h"
#include "Support/Geometry.h"
#include "Support/Text.h"

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <cmath>
#include <optional>

namespace lumicrate::app {

namespace {

using Kind = Preference::Kind;

/// The kind choice, of an enumeration's texts.
template <class Enumeration>
Preference choice(std::string_view key, Enumeration fallback) {
    const auto& names = RawValues<Enumeration>::names;
    return {key, Kind::choice, {names.begin(), names.end()}, std::string(rawValue(fallback))};
}

std::vector<Preference> makePreferences() {
    const RecordingOptions fresh;
    return {
        choice(preference::captureMode, CaptureMode::window),
        choice(preference::quality, fresh.quality),
        {preference::fps, Kind::choice, {"15", "24", "30", "60"}, std::to_string(fresh.fps)},
        {preference::constantFrameRate, Kind::toggle},
        choice(preference::format, fresh.format),
        choice(preference::encodingQuality, fresh.encodingQuality),
        {preference::captureSystemAudio, Kind::toggle},
        {preference::onlyApplicationAudio, Kind::toggle},
        {preference::captureMicrophone, Kind::toggle},
        {preference::microphoneID, Kind::text},
        {preference::mixAudio, Kind::toggle},
        {preference::cleanVoice, Kind::toggle},
        {preference::normalizeVoice, Kind::toggle},
        {preference::showCursor, Kind::toggle},
        {preference::highlightClicks, Kind::toggle},
        {preference::showKeys, Kind::toggle},
        choice(preference::keysPlace, fresh.keysPlace),
        choice(preference::keysSize, fresh.keysSize),
        {preference::showTypedText, Kind::toggle},
        {preference::recordsInputData, Kind::toggle},
        {preference::hideSelf, Kind::toggle},
        {preference::neverRecorded, Kind::text},
        {preference::holdNotifications, Kind::toggle},
        {preference::countdown, Kind::toggle},
        {preference::openPreview, Kind::toggle},
        {preference::notifyWhenSaved, Kind::toggle},
        {preference::recordingsFolder, Kind::folder},
        {preference::afterSave, Kind::command},
        {preference::areaRect, Kind::area},
        {preference::webcamEnabled, Kind::toggle},
        {preference::webcamID, Kind::text},
        {preference::webcamWidth, Kind::number, {}, {}, minWebcamWidth, maxWebcamWidth},
        choice(preference::webcamShape, fresh.webcamShape),
        choice(preference::webcamBorder, fresh.webcamBorder),
        {preference::webcamBorderColor, Kind::color, {}, fresh.webcamBorderColor},
        {preference::webcamMirror, Kind::toggle},
        {preference::webcamMicLevel, Kind::toggle},
        {preference::checkForUpdates, Kind::toggle},
        {"shortcut.toggle", Kind::shortcut},
        {"shortcut.pause", Kind::shortcut},
        {"shortcut.area", Kind::shortcut},
        {"shortcut.replay", Kind::shortcut},
        {preference::replaySeconds, Kind::choice, {"0", "15", "30", "60", "120"}, "0"},
    };
}

std::optional<bool> readToggle(const std::string& text) {
    if (text == "true" || text == "yes" || text == "on" || text == "1") return true;
    if (text == "false" || text == "no" || text == "off" || text == "0") return false;
    return std::nullopt;
}

bool isCommand(const std::string& text) {
    try {
        commandWords(text);
        return true;
    } catch (const LocalizedError&) {
        return false;
    }
}

bool isArea(const std::string& text) {
    const auto area = rectFromString(text);
    return area && area->width >= 1 && area->height >= 1;
}

/// Valid: empty for the default, "off" for none, or a shortcut as JSON.
bool isShortcut(const std::string& text) {
    const Shortcut noShortcut{-1, 0, {}};
    return text.empty() || decodeShortcut(text, noShortcut) != noShortcut;
}

}  // namespace

std::string Preference::expected() const {
    switch (kind) {
        case Kind::toggle:
            return localized("true or false");
        case Kind::choice:
            return fmt::format("{}", fmt::join(choices, ", "));
        case Kind::number:
            return localized("a number from {} to {}", {fmt::to_string(min), fmt::to_string(max)});
        case Kind::text:
            return localized("any text");
        case Kind::color:
            return localized("a colour such as #FF3B30");
        case Kind::folder:
            return localized("a path that begins with “/”, or nothing for the default");
        case Kind::area:
            return localized("{{x, y}, {width, height}} in points, or nothing");
        case Kind::command:
            return localized("a program with its arguments, or nothing");
        case Kind::shortcut:
            return localized("off, nothing for the default, or a shortcut as JSON");
    }
    return {};
}

std::string Preference::read(const NSUserDefaults& defaults) const {
    const std::string text = defaults.stringForKey(key).value_or("");
    switch (kind) {
        case Kind::toggle:
            return defaults.boolForKey(key) ? "true" : "false";
        case Kind::choice:
        case Kind::color:
            return parsed(text) ? text : fallback;
        case Kind::number:
            return fmt::format("{}", std::clamp(defaults.doubleForKey(key), min, max));
        case Kind::text:
            return text;
        case Kind::folder:
        case Kind::area:
        case Kind::command:
        case Kind::shortcut:
            break;
    }
    return parsed(text) ? text : "";
}

std::optional<std::string> Preference::invalidText(const NSUserDefaults& defaults) const {
    const auto text = defaults.stringForKey(key);
    return text && !parsed(*text) ? text : std::nullopt;
}

std::optional<DefaultsValue> Preference::parsed(const std::string& text) const {
    std::optional<DefaultsValue> value;
    switch (kind) {
        case Kind::toggle:
            value = readToggle(text);
            break;
        case Kind::choice:
            if (std::find(choices.begin(), choices.end(), text) != choices.end()) value = text;
            break;
        case Kind::number:
            if (const auto number = readNumber(text); number && *number >= min && *number <= max)
                value = *number;
            break;
        case Kind::text:
            value = text;
            break;
        case Kind::color:
            if (NSColor::fromHex(text)) value = text;
            break;
        case Kind::folder:
            if (text.empty() || text.front() == '/') value = text;
            break;
        case Kind::area:
            if (text.empty() || isArea(text)) value = text;
            break;
        case Kind::command:
            if (isCommand(text)) value = text;
            break;
        case Kind::shortcut:
            if (isShortcut(text)) value = text;
            break;
    }
    return value;
}

DefaultsValue Preference::parse(const std::string& text) const {
    if (const auto value = parsed(text)) return *value;
    throw UsageError(localized("“{}” is not a valid value for {}: give {}.", {text, key, expected()}));
}

std::span<const Preference> preferences() {
    static const std::vector<Preference> all = makePreferences();
    return all;
}

const Preference& findPreference(std::string_view key) {
    const auto all = preferences();
    const auto found = std::ranges::find(all, key, &Preference::key);
    if (found != all.end()) return *found;
    throw UsageError(localized("There is no preference “{}”.", {key}));
}

namespace {

std::string describePreferences() {
    std::string text;
    for (const Preference& preference : preferences())
        text += fmt::format("  {:<22}{}\n", preference.key, preference.expected());
    return text + "\n";
}

void warnOfInvalid(const Preference& preference, const NSUserDefaults& defaults) {
    const auto text = preference.invalidText(defaults);
    if (!text) return;
    fmt::print(stderr, "lumicrate: {}\n",
               localized("The stored value “{}” of {} is not valid: give {}.",
                         {*text, preference.key, preference.expected()}));
}

constexpr std::array settingsOperands{ValueKind::preference, ValueKind::preferenceValue};

/// Switches as true and false, numbers as numbers, and everything else as text.
nlohmann::ordered_json jsonValue(const Preference& preference, const NSUserDefaults& defaults) {
    const std::string text = preference.read(defaults);
    if (preference.kind == Kind::toggle) return text == "true";
    if (const auto number = readNumber(text); number && preference.isNumeric())
        return *number == std::floor(*number) ? nlohmann::ordered_json(std::llround(*number))
                                              : nlohmann::ordered_json(*number);
    return text;
}

void printAll(const NSUserDefaults& defaults, bool asJson) {
    nlohmann::ordered_json all;
    for (const Preference& preference : preferences()) {
        if (asJson) {
            all[std::string(preference.key)] = jsonValue(preference, defaults);
        } else {
            fmt::print("{:<22}{}\n", preference.key, preference.read(defaults));
        }
        warnOfInvalid(preference, defaults);
    }
    if (asJson) printJson(all);
}

int runSettings(const ParsedOptions& parsed) {
    const auto& words = parsed.positional();
    if (words.size() > 2) throw UsageError(localized("Give one key and one value."));
    desktop::UserDefaults defaults;
    RecordingOptions::registerDefaults(defaults);
    if (words.empty()) {
        printAll(defaults, parsed.has("json"));
        return exitDone;
    }
    const Preference& preference = findPreference(words[0]);
    if (words.size() == 2) {
        defaults.set(preference.key, preference.parse(words[1]));
        return exitDone;
    }
    if (parsed.has("json")) {
        printJson(jsonValue(preference, defaults));
    } else {
        fmt::print("{}\n", preference.read(defaults));
    }
    warnOfInvalid(preference, defaults);
    return exitDone;
}

}  // namespace

constinit const Command settingsCommand{
    "settings",
    translatable("Show or change the stored preferences."),
    "[KEY [VALUE]] [--json]",
    translatable("Shows all preferences, or one; with a value, stores it."),
    jsonOption,
    runSettings,
    describePreferences,
    settingsOperands};

}  // namespace lumicrate::app
