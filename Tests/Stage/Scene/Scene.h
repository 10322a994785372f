// SPDX-License-Identifier: GPL-3.0-or-later
// Scene: something that happens on a display, the same way each time.
#pragma once

#include "Tests/Stage/Scene/Surface.h"

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>

namespace lumicrate::stage {

/// Nanoseconds of CLOCK_MONOTONIC.
using Nanoseconds = std::int64_t;

constexpr Nanoseconds nanoseconds(double seconds) {
    return static_cast<Nanoseconds>(seconds * 1e9);
}
constexpr double seconds(Nanoseconds time) {
    return static_cast<double>(time) * 1e-9;
}
Nanoseconds now();

struct Step {
    int number = 0;       ///< from 0
    double seconds = 0;   ///< from the beginning of the scene to when the step is due
    Nanoseconds due = 0;  ///< the same on the monotonic clock
};

struct Scene {
    /// Steps a second unless requested otherwise; 0 when nothing moves.
    double rate = 30;
    std::function<void(const Step&)> step = [](const Step&) {};
    /// Seconds from this step to the next at a rate.
    std::function<double(double)> interval = [](double stepsPerSecond) { return 1 / stepsPerSecond; };
    /// The window that is recorded when only one is; none for the canvas.
    std::shared_ptr<Surface> mainWindow = nullptr;
};

/// By name: functions that draw the first picture of a scene on `canvas`, which must outlive the scene. A
/// scene looks the same in every run, because the random numbers do.
using SceneMakers = std::map<std::string, std::function<Scene(Surface& canvas, Random random)>>;

/// Scenes of the tests and the demo.
const SceneMakers& basicScenes();

/// The main function of a program that plays one of `scenes` on $DISPLAY.
int playScene(const SceneMakers& scenes, int argc, char** argv);

}  // namespace lumicrate::stage
