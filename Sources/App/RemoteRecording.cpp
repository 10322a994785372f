// SPDX-License-Identifier: GPL-3.0-or-later
#include "App/RemoteRecording.h"

#include "App/CommandLine/RecordArguments.h"
#include "Linux/Desktop/BusInterface.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <optional>
#include <vector>

namespace lumicrate::app {

namespace {

/// Of "record"; the others belong to a process, or would have other programs run as the user.
constexpr auto optionNames = std::to_array<std::string_view>({"screen",
                                                              "window",
                                                              "area",
                                                              "webcam",
                                                              "output",
                                                              "quality",
                                                              "fps",
                                                              "format",
                                                              "cursor",
                                                              "constant-frame-rate",
                                                              "encoding-quality",
                                                              "system-audio",
                                                              "countdown",
                                                              "clicks",
                                                              "keys",
                                                              "microphone",
                                                              "mix-audio",
                                                              "application-audio",
                                                              "never-record",
                                                              "clean-voice",
                                                              "normalize-voice"});

[[noreturn]] void refuse(const std::string& sentence) {
    throw desktop::BusError(desktop::BusError::invalidArguments, sentence);
}

/// true is "--name" and false "--no-name"; every other value is text.
std::string commandLineWord(const std::string& name, const QVariant& value) {
    const auto specs = recordOptionSpecs();
    const auto spec = std::ranges::find(specs, name, &OptionSpec::name);
    if (spec == specs.end() || std::ranges::find(optionNames, name) == optionNames.end())
        refuse(localized("There is no option “{}” here.", {name}));
    if (value.metaType() != QMetaType::fromType<bool>())
        return "--" + name + "=" + value.toString().toStdString();
    return (value.toBool() ? "--" : "--no-") + name;
}

/// The mode of a source among the options, or else the one named, or else the stored one.
CaptureMode modeFor(const std::string& named, const QVariantMap& options, const NSUserDefaults& defaults) {
    if (!named.empty()) {
        if (const auto mode = fromRawValue<CaptureMode>(named)) return *mode;
        refuse(localized("There is no mode “{}”.", {named}));
    }
    for (const CaptureMode mode : allCases<CaptureMode>())
        if (options.contains(QString::fromStdString(std::string(rawValue(mode))))) return mode;
    return fromRawValue<CaptureMode>(defaults.stringForKey(preference::captureMode).value_or(""))
        .value_or(CaptureMode::window);
}

RecordArguments read(CaptureMode mode, const QVariantMap& options, const RecordingOptions& stored) {
    std::vector<std::string> words;
    for (auto option = options.begin(); option != options.end(); ++option)
        words.push_back(commandLineWord(option.key().toStdString(), option.value()));
    const std::string own(rawValue(mode));
    // An area is only an option if it is given. Without one it is chosen on the screen.
    if (!options.contains(QString::fromStdString(own)) && mode != CaptureMode::area)
        words.push_back("--" + own);
    try {
        RecordArguments request = readRecordArguments(parseOptions(recordOptionSpecs(), words), stored, mode);
        if (mode != CaptureMode::webcam && mode != CaptureMode::audio)
            request.options.webcamEnabled = stored.webcamEnabled;
        return request;
    } catch (const UsageError& error) {
        refuse(error.what());
    }
}

/// Nothing if the user chooses it on the screen.
std::optional<CaptureSource> namedSource(CaptureMode mode, bool isNamed, RecordArguments& request,
                                         const capture::CaptureKit& capture) {
    if (!isNamed) return std::nullopt;
    if (mode == CaptureMode::window && request.window != 0) {
        requireWindow(capture.windows(), request.window);
        return CaptureSource::window(request.window);
    }
    if (mode == CaptureMode::screen && request.screen)
        return CaptureSource::display(
            findDisplay(capture.displays(), request.screen, capture.CGMainDisplayID()).displayID);
    if (mode == CaptureMode::area) {
        const PlacedArea placed = placeArea(capture.displays(), request.area);
        request.options.areaRect = placed.area;
        return CaptureSource::area(placed.displayID);
    }
    return std::nullopt;
}

}  // namespace

void startRemoteRecording(SystemServices& system, ScreenRecorder& recorder, const std::string& mode,
                          const QVariantMap& options) {
    if (*recorder.state != ScreenRecorder::State::idle)
        throw LocalizedError(localized("Another recording is in progress."));
    const CaptureMode chosen = modeFor(mode, options, system.defaults);
    RecordArguments request = read(chosen, options, RecordingOptions::current(system.defaults));
    if (request.output) checkOutput(*request.output);
    if (request.camera) request.options.webcamID = findCamera(system.devices.cameras(), *request.camera);
    const bool isNamed = options.contains(QString::fromStdString(std::string(rawValue(chosen))));
    const std::optional<CaptureSource> source = namedSource(chosen, isNamed, request, system.capture);
    if (!options.isEmpty()) recorder.setOptionsOverride(request.options);
    recorder.setOutputOverride(request.output);
    recorder.setSoundOverride(request.sound);
    recorder.setRequiredSound({request.systemAudioRequired, request.microphoneRequired});
    if (source) {
        recorder.setSource(*source);
        recorder.start(true);
    } else {
        recorder.record(chosen);
        // The window that shows it has opened.
        if (chosen == CaptureMode::audio) recorder.recordAudioNow();
    }
}

}  // namespace lumicrate::app
