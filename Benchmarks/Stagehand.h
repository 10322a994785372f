// SPDX-License-Identifier: GPL-3.0-or-later
// Stagehand: plays a scene on a display, and pauses it.
#pragma once

#include "Benchmarks/Assignment.h"
#include "Tests/Stage/ChildProcess.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace lumicrate::bench {

class Stagehand {
 public:
    // Returns when the first picture of the scene is drawn. Without a number of steps the scene goes on; with
    // one it draws that many as fast as it can. Throws std::runtime_error.
    Stagehand(const std::string& display, const std::string& scene, const Setting& setting,
              std::optional<int> steps = std::nullopt);

    // The scene's main window; known when the setting is to record a window.
    std::uint32_t window() const { return window_; }

    // When each step was drawn, in seconds of CLOCK_MONOTONIC.
    using Times = std::vector<double>;
    // Pauses the scene; its picture stays.
    Times rest();
    // Waits until the requested steps are drawn.
    Times awaitLast();

 private:
    std::string expect(const std::string& word);

    stage::ChildProcess process_;
    std::uint32_t window_ = 0;
};

}  // namespace lumicrate::bench
