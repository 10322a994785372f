// SPDX-License-Identifier: GPL-3.0-or-later
// The commands that list things: sources and recordings.
#include "App/CommandLine/CommandLine.h"
#include "App/CommandLine/Listing.h"
#include "App/CommandLine/Printing.h"
#include "App/QtExecutor.h"
#include "App/RecorderServices.h"
#include "Linux/Capture/CaptureKit.h"
#include "Linux/Desktop/DesktopServices.h"
#include "Linux/Desktop/FileManager.h"
#include "Linux/PipeWire/Devices.h"
#include "Lumicrate/Capture/SourceLists.h"
#include "Lumicrate/Library/RecordingFolder.h"
#include "Lumicrate/Library/RecordingLibrary.h"
#include "Support/Notifications.h"
#include "Support/Text.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <QEventLoop>
#include <array>
#include <chrono>
#include <cstddef>
#include <ctime>
#include <optional>

namespace lumicrate::app {

Sources findSources(Sources::Part part) {
    SystemServices system;
    const capture::CaptureKit& capture = system.capture;
    Sources sources;
    if (part != Sources::Part::devices && capture.CGMainDisplayID() != 0) {
        sources.displays = capture.displays();
        sources.mainDisplayID = capture.CGMainDisplayID();
        sources.windows = offeredWindows(capture.windows(), desktop::ProcessInfo().processIdentifier());
    }
    if (part == Sources::Part::screens) return sources;
    if (auto devices = system.devices.snapshot()) {
        sources.microphones = std::move(devices->microphones);
        sources.cameras = std::move(devices->cameras);
    }
    return sources;
}

std::string describe(const Rect& frame) {
    return localized("{} × {} at {},{}", {fmt::to_string(frame.width), fmt::to_string(frame.height),
                                          fmt::to_string(frame.x), fmt::to_string(frame.y)});
}

namespace {

nlohmann::ordered_json toJson(const std::vector<CaptureDevice>& devices) {
    auto list = nlohmann::ordered_json::array();
    for (const CaptureDevice& device : devices)
        list.push_back({{"id", device.id}, {"name", device.name}});
    return list;
}

nlohmann::ordered_json toJson(const std::vector<SCWindow>& windows) {
    auto list = nlohmann::ordered_json::array();
    for (const SCWindow& window : windows) {
        list.push_back({{"id", window.windowID},
                        {"application", applicationName(window)},
                        {"title", window.title.value_or("")},
                        {"x", window.frame.x},
                        {"y", window.frame.y},
                        {"width", window.frame.width},
                        {"height", window.frame.height}});
    }
    return list;
}

nlohmann::ordered_json toJson(const Sources& sources) {
    auto displays = nlohmann::ordered_json::array();
    for (const SCDisplay& display : sources.displays) {
        displays.push_back({{"id", display.displayID},
                            {"name", display.localizedName},
                            {"connector", display.connector},
                            {"main", display.displayID == sources.mainDisplayID},
                            {"x", display.frame.x},
                            {"y", display.frame.y},
                            {"width", display.frame.width},
                            {"height", display.frame.height},
                            {"scale", display.pointPixelScale}});
    }
    return {{"displays", displays},
            {"windows", toJson(sources.windows)},
            {"microphones", toJson(sources.microphones)},
            {"cameras", toJson(sources.cameras)}};
}

void printDevices(const std::string& title, const std::string& none,
                  const std::vector<CaptureDevice>& devices) {
    fmt::print("\n{}\n", title);
    if (devices.empty()) fmt::print("  {}\n", none);
    for (const CaptureDevice& device : devices)
        fmt::print("  {}  {}\n", device.id, device.name);
}

void printWindows(const std::vector<SCWindow>& windows) {
    fmt::print("\n{}\n", localized("Windows"));
    if (windows.empty()) fmt::print("  {}\n", localized("None."));
    for (const SCWindow& window : windows) {
        fmt::print("  {}  {}  “{}”  {}\n", window.windowID, onOneLine(applicationName(window)),
                   onOneLine(window.title.value_or("")), describe(window.frame));
    }
}

void printText(const Sources& sources) {
    fmt::print("{}\n", localized("Screens"));
    if (sources.displays.empty()) fmt::print("  {}\n", localized("No display server can be reached."));
    for (const SCDisplay& display : sources.displays) {
        fmt::print("  {}  {}  {}{}\n", display.displayID, display.localizedName, describe(display.frame),
                   display.displayID == sources.mainDisplayID ? "  " + localized("(main)") : "");
    }
    printWindows(sources.windows);
    printDevices(localized("Microphones"), localized("None."), sources.microphones);
    printDevices(localized("Cameras"), localized("None."), sources.cameras);
}

int runSources(const ParsedOptions& parsed) {
    refusePositional(parsed);
    const Sources sources = findSources();
    if (parsed.has("json")) {
        printJson(toJson(sources));
    } else {
        printText(sources);
    }
    return exitDone;
}

/// Nothing when the file system keeps no date.
std::optional<std::tm> localTime(const Recording& recording) {
    if (recording.created == Recording().created) return std::nullopt;
    const std::time_t time = std::chrono::system_clock::to_time_t(recording.created);
    std::tm local{};
    if (localtime_r(&time, &local) == nullptr) return std::nullopt;
    return local;
}

std::string formatted(const std::tm& time, const char* format) {
    std::array<char, 64> text{};
    const std::size_t length = std::strftime(text.data(), text.size(), format, &time);
    return {text.data(), length};
}

/// ISO 8601: "2024-05-01T14:03:22+02:00".
std::string isoDate(const std::tm& time) {
    std::string text = formatted(time, "%Y-%m-%dT%H:%M:%S%z");
    return text.insert(text.size() - 2, ":");
}

}  // namespace

std::string shownDate(const Recording& recording) {
    const auto time = localTime(recording);
    return time ? formatted(*time, "%Y-%m-%d %H:%M") : "–";
}

std::vector<Recording> findRecordings(bool durations) {
    QtExecutor executor;
    desktop::FileManager files;
    const desktop::Calendar calendar;
    desktop::Workspace workspace;
    NotificationCenter notifications;
    desktop::UserDefaults defaults;
    const RecordingFolder folder(files, calendar, defaults);
    RecordingLibrary library({executor, files, notifications, folder, workspace, lengthReaders(),
                              /*watch=*/nullptr, /*showPreview=*/nullptr, /*beep=*/nullptr});
    library.reload();
    QEventLoop untilRead;
    const Subscription reading = library.readsDurations().observe([&untilRead](bool still) {
        if (!still) untilRead.quit();
    });
    if (durations && *library.readsDurations()) untilRead.exec();
    return library.recordings.get();
}

namespace {

void printRecordings(const std::vector<Recording>& recordings) {
    auto list = nlohmann::ordered_json::array();
    for (const Recording& recording : recordings) {
        nlohmann::ordered_json entry{{"path", recording.url.string()},
                                     {"created", nullptr},
                                     {"size", recording.size},
                                     {"duration", nullptr}};
        if (const auto time = localTime(recording)) entry["created"] = isoDate(*time);
        if (recording.duration) entry["duration"] = *recording.duration;
        list.push_back(std::move(entry));
    }
    printJson(list);
}

void printText(const std::vector<Recording>& recordings) {
    if (recordings.empty()) fmt::print("{}\n", localized("No recordings yet."));
    for (const Recording& recording : recordings) {
        fmt::print("{:<16}  {:>8}  {:>8}  {}\n", shownDate(recording),
                   recording.duration ? formatElapsed(*recording.duration) : "–",
                   formatByteCount(recording.size), onOneLine(recording.url.filename().string()));
    }
}

int runRecordings(const ParsedOptions& parsed) {
    refusePositional(parsed);
    const std::vector<Recording> recordings = findRecordings();
    if (parsed.has("json")) {
        printRecordings(recordings);
    } else {
        printText(recordings);
    }
    return exitDone;
}

}  // namespace

constinit const Command sourcesCommand{
    "sources", translatable("List displays, windows, microphones and cameras."), "[OPTIONS]", "", jsonOption,
    runSources};

constinit const Command recordingsCommand{
    "recordings", translatable("List the recordings there are."), "[OPTIONS]", "", jsonOption, runRecordings};

}  // namespace lumicrate::app
