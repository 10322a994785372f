// SPDX-License-Identifier: GPL-3.0-or-later
// lumicrate-bench: measures the cost and the result of recording, compared with other recorders.
#include "Benchmarks/BenchRequest.h"
#include "Benchmarks/Performance.h"
#include "Benchmarks/Recorder.h"
#include "Benchmarks/Report.h"
#include "Tests/Stage/OtherPrograms.h"
#include "Tests/Stage/PrivateDesktop.h"
#include "Tests/Stage/WaylandDesktop.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstdio>
#include <exception>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace lumicrate::bench {

namespace {

// A result without runs for each scene and recorder.
std::vector<Result> plan(const BenchRequest& request, const std::vector<Recorder>& recorders) {
    std::vector<Result> results;
    for (const auto& scene : request.scenes) {
        for (const auto& recorder : recorders) {
            results.push_back({scene, recorder.name, {}});
        }
    }
    return results;
}

bool isInstalled(const std::string& program) {
    const auto found = stage::runToEnd({"sh", "-c", "command -v \"$1\"", "sh", program});
    return found.status == 0;
}

std::vector<Recorder> recordersFor(const BenchRequest& request) {
    const auto all = allRecorders(request.lumicrate);
    for (const auto& name : request.recorders) {
        const bool isKnown =
            std::any_of(all.begin(), all.end(), [&](const auto& each) { return each.name == name; });
        if (!isKnown) throw std::runtime_error("There is no recorder \"" + name + "\".");
    }
    std::vector<Recorder> chosen;
    for (const auto& recorder : all) {
        if (!request.wants(recorder.name)) continue;
        const auto other = request.wayland ? Desktops::X11 : Desktops::Wayland;
        if (recorder.desktops == other) {
            std::fprintf(stderr, "%s cannot record this desktop and is left out.\n", recorder.name.c_str());
            continue;
        }
        if (request.setting.source == Source::Window && !recorder.recordsWindows) {
            std::fprintf(stderr, "%s cannot record windows and is left out.\n", recorder.name.c_str());
            continue;
        }
        if (!isInstalled(recorder.program)) {
            std::fprintf(stderr, "%s is not installed and is left out.\n", recorder.program.c_str());
            continue;
        }
        chosen.push_back(recorder);
    }
    return chosen;
}

void writeJson(const BenchRequest& request, const std::vector<Result>& results) {
    const auto& setting = request.setting;
    nlohmann::json document{{"display", {request.display.width, request.display.height}},
                            {"compositor", request.compositor},
                            {"wayland", request.wayland},
                            {"quality", setting.quality},
                            {"framesPerSecond", setting.framesPerSecond},
                            {"seconds", setting.seconds},
                            {"results", json(results, request.peer())}};
    if (setting.source == Source::Area) {
        document["area"] = {setting.area.x, setting.area.y, setting.area.width, setting.area.height};
    }
    document["source"] = setting.source == Source::Window ? "window"
                         : setting.source == Source::Area ? "area"
                                                          : "screen";
    std::ofstream stream(request.json);
    stream << document.dump(2) << "\n";
    if (!stream.flush()) throw std::runtime_error("Could not write " + request.json);
}

// Returns whether every recorder succeeded.
bool measureAll(const BenchRequest& request, const BenchDisplay& display) {
    const test::TemporaryFolder temporary;
    Performance performance(display, request.setting,
                            request.keep.empty() ? temporary.path().string() : request.keep);

    const auto recorders = recordersFor(request);
    if (recorders.empty()) throw std::runtime_error("There is no recorder to measure.");
    auto results = plan(request, recorders);
    bool isWhole = true;
    // Round by round, so that a temporary disturbance affects all recorders.
    for (int round = 0; round < request.repeats; ++round) {
        for (std::size_t i = 0; i < results.size(); ++i) {
            auto& result = results[i];
            try {
                std::fprintf(stderr, "%s, %s …\n", result.scene.c_str(), result.recorder.c_str());
                result.runs.push_back(performance.measure(result.scene, recorders[i % recorders.size()]));
            } catch (const std::exception& error) {
                std::fprintf(stderr, "%s, %s: %s\n", result.scene.c_str(), result.recorder.c_str(),
                             error.what());
                isWhole = false;
            }
        }
    }
    std::fputs(table(results, request.peer()).c_str(), stdout);
    if (!request.json.empty()) writeJson(request, results);
    return isWhole;
}

bool runOnX(const BenchRequest& request) {
    const auto [width, height] = request.display;
    stage::PrivateDesktop desktop({.display = {width, height, false, request.compositor}, .sound = false});
    const auto& server = desktop.display();
    return measureAll(request,
                      {server.displayName(), request.display, {server.processId()}, server.displayName()});
}

bool runOnWayland(const BenchRequest& request) {
    if (const auto missing = stage::WaylandDesktop::missingPrograms(); !missing.empty())
        throw std::runtime_error(missing);
    const auto [width, height] = request.display;
    stage::WaylandDesktop desktop({.compositor = {.outputs = {{width, height, 1}}}});
    desktop.input().movePointer(width - 1, height - 1);
    const stage::Xvfb reference({width, height, false, false});
    return measureAll(request, {desktop.compositor().displayName(),
                                request.display,
                                {desktop.compositor().processId(), desktop.portal().processId()},
                                reference.displayName()});
}

}  // namespace

}  // namespace lumicrate::bench

int main(int argc, char** argv) {
    const auto request = lumicrate::bench::parseBenchRequest({argv + 1, argv + argc});
    if (!request) {
        std::fputs(lumicrate::bench::benchUsage, stderr);
        return 2;
    }
    try {
        const auto run = request->wayland ? lumicrate::bench::runOnWayland : lumicrate::bench::runOnX;
        return run(*request) ? 0 : 1;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "lumicrate-bench: %s\n", error.what());
        return 1;
    }
}
