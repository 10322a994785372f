// Report: measurements as a table for people and as JSON for programs.
#pragma once

#include "Benchmarks/Performance.h"

#include <nlohmann/json_fwd.hpp>

#include <string>
#include <vector>

namespace lumicrate::bench {

// What one recorder made of one scene, in all its runs.
struct Result {
    std::string scene;
    std::string recorder;
    std::vector<Measurement> runs;
};

// One line a result, of medians where there are several runs. The columns "× …" are the figure before
// divided by that of `peer` in the same scene.
std::string table(const std::vector<Result>& results, const std::string& peer);
// The same and more: of each result the medians of all figures, their ratios to the peer's, and the runs.
nlohmann::json json(const std::vector<Result>& results, const std::string& peer);

}  // namespace lumicrate::bench
