// SPDX-License-Identifier: GPL-3.0-or-later
// Report: measurements as a table and as JSON.
#pragma once

#include "Benchmarks/Performance.h"

#include <nlohmann/json_fwd.hpp>

#include <string>
#include <vector>

namespace lumicrate::bench {

// All runs of one recorder with one scene.
struct Result {
    std::string scene;
    std::string recorder;
    std::vector<Measurement> runs;
};

// One line per result, with the medians of its runs. The columns "/PEER" are the figure before, divided by
// that of `peer` in the same scene.
std::string table(const std::vector<Result>& results, const std::string& peer);
// For each result the medians of all figures, their ratios to the peer's, and all runs.
nlohmann::json json(const std::vector<Result>& results, const std::string& peer);

}  // namespace lumicrate::bench
