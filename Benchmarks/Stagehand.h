// Stagehand: plays a scene on a display, and halts it.
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
    // Starts the scene and returns when its beginning stands. Without a number of steps it goes on by itself;
    // with one it draws so many as fast as it can. Throws std::runtime_error.
    Stagehand(const std::string& display, const std::string& scene, const Setting& setting,
              std::optional<int> steps = std::nullopt);

    // The scene's main window; known when the setting is to record it.
    std::uint32_t window() const { return window_; }

    // What was drawn: when each step stood on the screen, in seconds of CLOCK_MONOTONIC.
    using Times = std::vector<double>;
    // Halts the scene, whose picture stays.
    Times rest();
    // Waits until the steps asked for are drawn.
    Times awaitLast();

 private:
    std::string expect(const std::string& word);

    stage::ChildProcess process_;
    std::uint32_t window_ = 0;
};

}  // namespace lumicrate::bench
