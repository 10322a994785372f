// SPDX-License-Identifier: GPL-3.0-or-later
#include "Benchmarks/Stagehand.h"

#include <csignal>
#include <sstream>
#include <stdexcept>

namespace lumicrate::bench {

namespace {

constexpr double lineTimeout = 120;

// Whether a scene has the rate of the recording, not one of its own.
bool followsRate(const std::string& scene) {
    return scene != "still" && scene != "typing";
}

std::vector<std::string> commandFor(const std::string& display, const std::string& scene,
                                    const Setting& setting, std::optional<int> steps) {
    std::vector<std::string> command{LUMICRATE_SCENE, scene};
    if (isWayland(display)) command.emplace_back("--wayland");
    if (setting.source == Source::Window) {
        command.emplace_back("--window");
    } else {
        const auto& corner = setting.area;
        command.insert(command.end(),
                       {"--number-at", std::to_string(corner.x) + "," + std::to_string(corner.y)});
    }
    if (followsRate(scene)) command.insert(command.end(), {"--fps", std::to_string(setting.framesPerSecond)});
    if (steps) command.insert(command.end(), {"--steps", std::to_string(*steps)});
    return command;
}

}  // namespace

Stagehand::Stagehand(const std::string& display, const std::string& scene, const Setting& setting,
                     std::optional<int> steps)
    : process_(commandFor(display, scene, setting, steps),
               {{isWayland(display) ? "WAYLAND_DISPLAY" : "DISPLAY", display}}) {
    if (setting.source == Source::Window)
        window_ = static_cast<std::uint32_t>(std::stoul(expect("window").substr(6)));
    expect("ready");
}

Stagehand::Times Stagehand::rest() {
    process_.signal(SIGUSR1);
    return awaitLast();
}

Stagehand::Times Stagehand::awaitLast() {
    std::istringstream line(expect("times").substr(5));
    Times times;
    for (double time = 0; line >> time;) {
        times.push_back(time);
    }
    expect("drawn");
    return times;
}

std::string Stagehand::expect(const std::string& word) {
    auto line = process_.readLine(lineTimeout);
    if (!line.starts_with(word)) throw std::runtime_error("The scene wrote " + line);
    return line;
}

}  // namespace lumicrate::bench
