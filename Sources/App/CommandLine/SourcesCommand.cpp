#include "App/CommandLine/SourcesCommand.h"

#include "App/CommandLine/CommandLine.h"
#include "App/CommandLine/OptionParser.h"
#include "App/CommandLine/TerminalText.h"
#include "Linux/Capture/CaptureKit.h"
#include "Linux/Desktop/ProcessInfo.h"
#include "Linux/PipeWire/Devices.h"
#include "Lumicrate/Capture/SourceLists.h"
#include "Support/Text.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <array>

namespace lumicrate::app {

namespace {

constexpr std::array specs{
    OptionSpec{"json", OptionSpec::Kind::flag, "", "As JSON, for programs."},
    OptionSpec{"help", OptionSpec::Kind::flag, "", "Show this."},
};

/// What there is to record, at one moment.
struct Sources {
    std::vector<SCDisplay> displays;
    std::uint32_t mainDisplayID = 0;
    std::vector<SCWindow> windows;
    std::vector<CaptureDevice> microphones;
    std::vector<CaptureDevice> cameras;
};

Sources findSources() {
    const capture::CaptureKit capture;
    Sources sources;
    if (capture.CGPreflightScreenCaptureAccess()) {
        sources.displays = capture.displays();
        sources.mainDisplayID = capture.CGMainDisplayID();
        sources.windows = offeredWindows(capture.windows(), desktop::ProcessInfo().processIdentifier());
    }
    if (auto devices = pipewire::Devices().snapshot()) {
        sources.microphones = std::move(devices->microphones);
        sources.cameras = std::move(devices->cameras);
    }
    return sources;
}

nlohmann::ordered_json toJson(const std::vector<CaptureDevice>& devices) {
    auto list = nlohmann::ordered_json::array();
    for (const CaptureDevice& each : devices)
        list.push_back({{"id", each.id}, {"name", each.name}});
    return list;
}

nlohmann::ordered_json toJson(const std::vector<SCWindow>& windows) {
    auto list = nlohmann::ordered_json::array();
    for (const SCWindow& each : windows) {
        list.push_back({{"id", each.windowID},
                        {"application", applicationName(each)},
                        {"title", each.title.value_or("")},
                        {"x", each.frame.x},
                        {"y", each.frame.y},
                        {"width", each.frame.width},
                        {"height", each.frame.height}});
    }
    return list;
}

nlohmann::ordered_json toJson(const Sources& sources) {
    auto displays = nlohmann::ordered_json::array();
    for (const SCDisplay& each : sources.displays) {
        displays.push_back({{"id", each.displayID},
                            {"name", each.localizedName},
                            {"main", each.displayID == sources.mainDisplayID},
                            {"x", each.frame.x},
                            {"y", each.frame.y},
                            {"width", each.frame.width},
                            {"height", each.frame.height},
                            {"scale", each.pointPixelScale}});
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
    for (const CaptureDevice& each : devices)
        fmt::print("  {}  {}\n", each.id, each.name);
}

std::string describe(const Rect& frame) {
    return fmt::format("{} × {} {} {},{}", frame.width, frame.height, localized("at"), frame.x, frame.y);
}

void printWindows(const std::vector<SCWindow>& windows) {
    fmt::print("\n{}\n", localized("Windows"));
    if (windows.empty()) fmt::print("  {}\n", localized("None."));
    for (const SCWindow& each : windows) {
        fmt::print("  {}  {}  “{}”  {}\n", each.windowID, onOneLine(applicationName(each)),
                   onOneLine(each.title.value_or("")), describe(each.frame));
    }
}

void print(const Sources& sources) {
    fmt::print("{}\n", localized("Screens"));
    if (sources.displays.empty()) fmt::print("  {}\n", localized("No display server can be reached."));
    for (const SCDisplay& each : sources.displays) {
        fmt::print("  {}  {}  {}{}\n", each.displayID, each.localizedName, describe(each.frame),
                   each.displayID == sources.mainDisplayID ? "  " + localized("(main)") : "");
    }
    printWindows(sources.windows);
    printDevices(localized("Microphones"), localized("None."), sources.microphones);
    printDevices(localized("Cameras"), localized("None."), sources.cameras);
}

}  // namespace

int runSourcesCommand(const std::vector<std::string>& arguments) {
    const ParsedOptions parsed = parseOptions(specs, arguments);
    if (parsed.has("help")) {
        fmt::print("{}\n\n{}", localized("Usage: lumicrate sources [OPTIONS]"), describeOptions(specs));
        return exitDone;
    }
    refusePositional(parsed);
    const Sources sources = findSources();
    if (parsed.has("json")) {
        fmt::print("{}\n", toJson(sources).dump(2));
    } else {
        print(sources);
    }
    return exitDone;
}

}  // namespace lumicrate::app
