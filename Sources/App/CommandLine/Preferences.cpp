#include "App/CommandLine/Preferences.h"

#include "App/CommandLine/OptionParser.h"
#include "Lumicrate/Recording/RecordingOptions.h"
#include "Lumicrate/Shortcuts/Shortcut.h"
#include "Support/Geometry.h"
#include "Support/Text.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <charconv>
#include <optional>

namespace lumicrate::app {

namespace {

using Kind = Preference::Kind;

template <class Enumeration>
std::vector<std::string> rawValues() {
    return {RawValues<Enumeration>::names.begin(), RawValues<Enumeration>::names.end()};
}

std::vector<Preference> makePreferences() {
    return {
        {preference::captureMode, Kind::choice, rawValues<CaptureMode>()},
        {preference::quality, Kind::choice, rawValues<VideoQuality>()},
        {preference::fps, Kind::choice, {"15", "24", "30", "60"}},
        {preference::format, Kind::choice, rawValues<OutputFormat>()},
        {preference::encodingQuality, Kind::choice, rawValues<EncodingQuality>()},
        {preference::captureSystemAudio, Kind::toggle},
        {preference::captureMicrophone, Kind::toggle},
        {preference::microphoneID, Kind::text},
        {preference::mixAudio, Kind::toggle},
        {preference::showCursor, Kind::toggle},
        {preference::highlightClicks, Kind::toggle},
        {preference::hideSelf, Kind::toggle},
        {preference::countdown, Kind::toggle},
        {preference::openPreview, Kind::toggle},
        {preference::areaRect, Kind::area},
        {preference::webcamEnabled, Kind::toggle},
        {preference::webcamID, Kind::text},
        {preference::webcamWidth, Kind::number, {}, 100, 480},
        {preference::webcamShape, Kind::choice, rawValues<WebcamShape>()},
        {preference::webcamBorder, Kind::choice, rawValues<WebcamBorder>()},
        {preference::webcamBorderColor, Kind::text},
        {preference::webcamMirror, Kind::toggle},
        {preference::webcamMicLevel, Kind::toggle},
        {preference::checkForUpdates, Kind::toggle},
        {"shortcut.toggle", Kind::shortcut},
        {"shortcut.pause", Kind::shortcut},
        {"shortcut.area", Kind::shortcut},
    };
}

std::optional<bool> readToggle(const std::string& text) {
    if (text == "true" || text == "yes" || text == "on" || text == "1") return true;
    if (text == "false" || text == "no" || text == "off" || text == "0") return false;
    return std::nullopt;
}

std::optional<double> readNumber(const std::string& text) {
    double number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    const bool whole = error == std::errc{} && end == text.data() + text.size();
    return whole ? std::optional(number) : std::nullopt;
}

/// Empty for the default, "off" for none, or a shortcut as JSON.
bool isShortcut(const std::string& text) {
    const Shortcut noShortcut{-1, 0, {}};
    return text.empty() || decodeShortcut(text, noShortcut) != noShortcut;
}

}  // namespace

std::string Preference::wanted() const {
    switch (kind) {
        case Kind::toggle:
            return localized("true or false");
        case Kind::choice:
            return fmt::format("{}", fmt::join(choices, ", "));
        case Kind::number:
            return fmt::format(fmt::runtime(localized("a number from {} to {}")), least, most);
        case Kind::text:
            return localized("any text");
        case Kind::area:
            return localized("{{x, y}, {width, height}} in points, or nothing");
        case Kind::shortcut:
            return localized("off, nothing for the default, or a shortcut as JSON");
    }
    return {};
}

std::string Preference::read(const NSUserDefaults& defaults) const {
    if (kind == Kind::toggle) return defaults.boolForKey(key) ? "true" : "false";
    return defaults.stringForKey(key).value_or("");
}

DefaultsValue Preference::parse(const std::string& text) const {
    std::optional<DefaultsValue> value;
    switch (kind) {
        case Kind::toggle:
            value = readToggle(text);
            break;
        case Kind::choice:
            if (std::find(choices.begin(), choices.end(), text) != choices.end()) value = text;
            break;
        case Kind::number:
            if (const auto number = readNumber(text); number && *number >= least && *number <= most)
                value = *number;
            break;
        case Kind::text:
            value = text;
            break;
        case Kind::area:
            if (text.empty() || rectFromString(text)) value = text;
            break;
        case Kind::shortcut:
            if (isShortcut(text)) value = text;
            break;
    }
    if (value) return *value;
    throw UsageError(
        fmt::format(fmt::runtime(localized("“{}” is no value for {}: give {}.")), text, key, wanted()));
}

std::span<const Preference> preferences() {
    static const std::vector<Preference> all = makePreferences();
    return all;
}

const Preference& findPreference(std::string_view key) {
    const auto all = preferences();
    const auto found =
        std::find_if(all.begin(), all.end(), [key](const Preference& each) { return each.key == key; });
    if (found != all.end()) return *found;
    throw UsageError(fmt::format(fmt::runtime(localized("There is no preference “{}”.")), key));
}

}  // namespace lumicrate::app
