// SPDX-License-Identifier: GPL-3.0-or-later
#include "Lumicrate/Recording/RecordingOptions.h"

#include "Lumicrate/Capture/NeverRecorded.h"

#include <cstdint>
#include <utility>

namespace lumicrate {

namespace {

/// Old versions stored one of three sizes instead of a width. It remains the fallback.
double registeredWebcamWidth(const NSUserDefaults& defaults) {
    const std::string size = defaults.stringForKey("webcamSize").value_or("");
    if (size == "small") return 140;
    if (size == "large") return 280;
    return RecordingOptions().webcamWidth;
}

std::string readText(const NSUserDefaults& defaults, std::string_view key, std::string_view fallback = "") {
    return defaults.stringForKey(key).value_or(std::string(fallback));
}

template <class Enumeration>
Enumeration readCase(const NSUserDefaults& defaults, std::string_view key, Enumeration fallback) {
    return fromRawValue<Enumeration>(readText(defaults, key)).value_or(fallback);
}

int readFps(const NSUserDefaults& defaults, int fallback) {
    const std::int64_t stored = defaults.integerForKey(preference::fps);
    const bool known = stored == 15 || stored == 24 || stored == 30 || stored == 60;
    return known ? static_cast<int>(stored) : fallback;
}

double readWebcamWidth(const NSUserDefaults& defaults) {
    const double stored = defaults.doubleForKey(preference::webcamWidth);
    if (stored > maxWebcamWidth) return maxWebcamWidth;
    return stored >= minWebcamWidth ? stored : minWebcamWidth;
}

std::optional<Rect> readArea(const NSUserDefaults& defaults) {
    const auto area = rectFromString(readText(defaults, preference::areaRect));
    if (!area || area->width < 1 || area->height < 1) return std::nullopt;
    return area;
}

}  // namespace

void RecordingOptions::registerDefaults(NSUserDefaults& defaults) {
    const RecordingOptions fresh;
    const auto text = [](std::string_view value) { return DefaultsValue(std::string(value)); };
    const std::pair<std::string_view, DefaultsValue> fallbacks[] = {
        {preference::captureSystemAudio, fresh.captureSystemAudio},
        {preference::captureMicrophone, fresh.captureMicrophone},
        {preference::microphoneID, fresh.microphoneID},
        {preference::quality, text(rawValue(fresh.quality))},
        {preference::fps, std::int64_t{fresh.fps}},
        {preference::format, text(rawValue(fresh.format))},
        {preference::showCursor, fresh.showCursor},
        {preference::hideSelf, fresh.hideSelf},
        {preference::encodingQuality, text(rawValue(fresh.encodingQuality))},
        {preference::countdown, fresh.countdown},
        {preference::highlightClicks, fresh.highlightClicks},
        {preference::webcamEnabled, fresh.webcamEnabled},
        {preference::webcamID, fresh.webcamID},
        {preference::webcamWidth, registeredWebcamWidth(defaults)},
        {preference::webcamShape, text(rawValue(fresh.webcamShape))},
        {preference::webcamBorder, text(rawValue(fresh.webcamBorder))},
        {preference::webcamBorderColor, fresh.webcamBorderColor},
        {preference::areaRect, text("")},
        {preference::captureMode, text(rawValue(CaptureMode::window))},
        {preference::openPreview, true},
        {preference::mixAudio, true},
        {preference::webcamMirror, fresh.webcamMirror},
        {preference::webcamMicLevel, true},
        {preference::checkForUpdates, true},
        {preference::holdNotifications, fresh.holdNotifications},
        {preference::recordsInputData, fresh.recordsInputData},
    };
    defaults.registerDefaults(NSUserDefaults::Registration(std::begin(fallbacks), std::end(fallbacks)));
}

RecordingOptions RecordingOptions::current(const NSUserDefaults& defaults) {
    const RecordingOptions fresh;
    RecordingOptions options;
    options.captureSystemAudio = defaults.boolForKey(preference::captureSystemAudio);
    options.captureMicrophone = defaults.boolForKey(preference::captureMicrophone);
    options.microphoneID = readText(defaults, preference::microphoneID);
    options.quality = readCase(defaults, preference::quality, fresh.quality);
    options.fps = readFps(defaults, fresh.fps);
    options.format = readCase(defaults, preference::format, fresh.format);
    options.showCursor = defaults.boolForKey(preference::showCursor);
    options.hideSelf = defaults.boolForKey(preference::hideSelf);
    options.encodingQuality = readCase(defaults, preference::encodingQuality, fresh.encodingQuality);
    options.countdown = defaults.boolForKey(preference::countdown);
    options.highlightClicks = defaults.boolForKey(preference::highlightClicks);
    options.webcamEnabled = defaults.boolForKey(preference::webcamEnabled);
    options.webcamID = readText(defaults, preference::webcamID);
    options.webcamWidth = readWebcamWidth(defaults);
    options.webcamShape = readCase(defaults, preference::webcamShape, fresh.webcamShape);
    options.webcamBorder = readCase(defaults, preference::webcamBorder, fresh.webcamBorder);
    options.webcamBorderColor = readText(defaults, preference::webcamBorderColor, fresh.webcamBorderColor);
    options.webcamMirror = defaults.boolForKey(preference::webcamMirror);
    options.areaRect = readArea(defaults);
    options.constantFrameRate = defaults.boolForKey(preference::constantFrameRate);
    options.onlyApplicationAudio = defaults.boolForKey(preference::onlyApplicationAudio);
    options.showKeys = defaults.boolForKey(preference::showKeys);
    options.keysPlace = readCase(defaults, preference::keysPlace, fresh.keysPlace);
    options.keysSize = readCase(defaults, preference::keysSize, fresh.keysSize);
    options.showTypedText = defaults.boolForKey(preference::showTypedText);
    options.holdNotifications = defaults.boolForKey(preference::holdNotifications);
    options.recordsInputData = defaults.boolForKey(preference::recordsInputData);
    options.neverRecorded = readClasses(readText(defaults, preference::neverRecorded));
    return options;
}

}  // namespace lumicrate
