// SPDX-License-Identifier: GPL-3.0-or-later
// BenchRequest: the parsed command line of lumicrate-bench.
#pragma once

#include "Benchmarks/Assignment.h"

#include <optional>
#include <string>
#include <vector>

namespace lumicrate::bench {

struct BenchRequest {
    std::string lumicrate;  // the program
    std::vector<std::string> scenes{"still", "typing", "scrolling", "moving", "dragging", "mixed"};
    std::vector<std::string> recorders;
    Setting setting;
    PixelSize display{1920, 1080};
    bool compositor = false;
    bool wayland = false;
    int repeats = 1;
    std::string json;
    std::string keep;

    // The one that the others are compared with.
    std::string peer() const { return wayland ? "wf" : "ffmpeg"; }
    bool wants(const std::string& recorder) const;
};

// Nothing for a command line that is malformed or impossible.
std::optional<BenchRequest> parseBenchRequest(const std::vector<std::string>& arguments);

extern const char* const benchUsage;

}  // namespace lumicrate::bench
