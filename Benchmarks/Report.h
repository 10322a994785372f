// Report: measurements as a table for people and as JSON for programs.
#pragma once

#include "Benchmarks/Performance.h"

#include <filesystem>
#include <string>
#include <vector>

namespace lumicrate::bench {

// One line a measurement; "ratio" is the CPU time over that of `peer` in the same scene.
std::string table(const std::vector<Measurement>& measurements, const std::string& peer);
// Throws std::runtime_error when the file cannot be written.
void writeJson(const std::filesystem::path& file, const std::vector<Measurement>& measurements);

}  // namespace lumicrate::bench
