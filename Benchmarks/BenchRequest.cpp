// SPDX-License-Identifier: GPL-3.0-or-later
#include "Benchmarks/BenchRequest.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <sstream>

namespace lumicrate::bench {

const char* const benchUsage =
    "lumicrate-bench --lumicrate PROGRAM [OPTION VALUE | --compositor | --wayland]…\n"
    "Each recorder records each scene under the same conditions.\n"
    "  --scenes LIST      of still,typing,scrolling,dense,web,terminal,editor,moving,dragging,mixed\n"
    "  --recorders LIST   of lumicrate,ffmpeg,ssr and lumicrate-hevc, which runs only when named; with\n"
    "                     --wayland of lumicrate,wf (wf-recorder) and lumicrate-hevc\n"
    "  --seconds S        the length of each recording; 10\n"
    "  --repeat N         the number of rounds; the table has their medians; 1\n"
    "  --size WxH         of the display; 1920x1080\n"
    "  --compositor       a compositor draws the screen\n"
    "  --wayland          a Wayland compositor (sway) in place of the X server; only whole screens\n"
    "  --source SOURCE    screen, or window: only the scene's main window\n"
    "  --area X,Y,W,H     only that part of the screen\n"
    "  --quality Q        native, p1080 or p720\n"
    "  --fps N            pictures a second, and steps of scenes with steady motion; 30\n"
    "  --json FILE        all figures\n"
    "  --keep FOLDER      keeps the recordings there\n";

namespace {

std::vector<std::string> split(const std::string& list) {
    std::vector<std::string> items;
    std::istringstream stream(list);
    for (std::string item; std::getline(stream, item, ',');) {
        items.push_back(item);
    }
    return items;
}

bool parseInto(std::string& target, const std::string& value) {
    target = value;
    return !value.empty();
}

bool parseInto(std::vector<std::string>& target, const std::string& value) {
    target = split(value);
    return !target.empty();
}

bool parseInto(int& target, const std::string& value) {
    char* end = nullptr;
    target = static_cast<int>(std::strtol(value.c_str(), &end, 10));
    return target > 0 && *end == '\0';
}

bool parseInto(double& target, const std::string& value) {
    char* end = nullptr;
    target = std::strtod(value.c_str(), &end);
    return target > 0 && *end == '\0';
}

bool parseInto(PixelSize& target, const std::string& value) {
    int used = 0;
    return std::sscanf(value.c_str(), "%dx%d%n", &target.width, &target.height, &used) == 2 &&
           value.size() == static_cast<std::size_t>(used);
}

bool parseInto(stage::Area& target, const std::string& value) {
    int used = 0;
    return std::sscanf(value.c_str(), "%d,%d,%d,%d%n", &target.x, &target.y, &target.width, &target.height,
                       &used) == 4 &&
           value.size() == static_cast<std::size_t>(used);
}

bool parseInto(Source& target, const std::string& value) {
    target = value == "window" ? Source::Window : Source::Screen;
    return value == "window" || value == "screen";
}

bool parseOption(BenchRequest& request, const std::string& name, const std::string& value) {
    auto& setting = request.setting;
    if (name == "--lumicrate") return parseInto(request.lumicrate, value);
    if (name == "--scenes") return parseInto(request.scenes, value);
    if (name == "--recorders") return parseInto(request.recorders, value);
    if (name == "--seconds") return parseInto(setting.seconds, value);
    if (name == "--repeat") return parseInto(request.repeats, value);
    if (name == "--size") return parseInto(request.display, value);
    if (name == "--source") return parseInto(setting.source, value);
    if (name == "--quality") return parseInto(setting.quality, value);
    if (name == "--fps") return parseInto(setting.framesPerSecond, value);
    if (name == "--json") return parseInto(request.json, value);
    if (name == "--keep") return parseInto(request.keep, value);
    if (name == "--area") {
        setting.source = Source::Area;
        return parseInto(setting.area, value);
    }
    return false;
}

bool isInside(const stage::Area& area, const PixelSize& display) {
    // The step's number must fit, and not every recorder supports odd sizes.
    constexpr int minWidth = 256;
    constexpr int minHeight = 16;
    return area.x >= 0 && area.y >= 0 && area.width >= minWidth && area.height >= minHeight &&
           area.width % 2 == 0 && area.height % 2 == 0 && area.x + area.width <= display.width &&
           area.y + area.height <= display.height;
}

bool isSensible(const BenchRequest& request) {
    const auto& setting = request.setting;
    const bool needsProgram = request.wants("lumicrate") || request.wants("lumicrate-hevc");
    constexpr double minSeconds = 2;
    constexpr int minPixels = 320;
    return !(needsProgram && request.lumicrate.empty()) && setting.seconds >= minSeconds &&
           request.display.width >= minPixels && request.display.height >= minPixels / 2 &&
           linesOfQuality(setting.quality) &&
           !(request.wayland && (request.compositor || setting.source != Source::Screen)) &&
           (setting.source != Source::Area || isInside(setting.area, request.display));
}

}  // namespace

bool BenchRequest::wants(const std::string& recorder) const {
    return std::find(recorders.begin(), recorders.end(), recorder) != recorders.end();
}

std::optional<BenchRequest> parseBenchRequest(const std::vector<std::string>& arguments) {
    BenchRequest request;
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        if (arguments[i] == "--compositor") {
            request.compositor = true;
            continue;
        }
        if (arguments[i] == "--wayland") {
            request.wayland = true;
            continue;
        }
        if (i + 1 == arguments.size() || !parseOption(request, arguments[i], arguments[i + 1]))
            return std::nullopt;
        ++i;
    }
    if (request.recorders.empty()) {
        request.recorders = {"lumicrate", request.peer()};
        if (!request.wayland) request.recorders.emplace_back("ssr");
    }
    if (!isSensible(request)) return std::nullopt;
    return request;
}

}  // namespace lumicrate::bench
