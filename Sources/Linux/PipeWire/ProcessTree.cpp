// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/PipeWire/ProcessTree.h"

#include <fstream>
#include <iterator>
#include <sstream>
#include <string>

namespace lumicrate::pipewire {

namespace {

/// More generations than any process has: processes may change while they are read.
constexpr int maxGenerations = 100;

}  // namespace

std::optional<std::int32_t> parentProcess(std::int32_t process) {
    std::ifstream file("/proc/" + std::to_string(process) + "/stat");
    const std::string text{std::istreambuf_iterator<char>(file), {}};
    // "42 (name) S 41 …"; the name may contain parentheses and spaces.
    const auto name = text.rfind(')');
    if (name == std::string::npos) return std::nullopt;
    std::istringstream rest(text.substr(name + 1));
    std::string state;
    std::int32_t parent = 0;
    if (!(rest >> state >> parent)) return std::nullopt;
    return parent;
}

bool isInProcessTree(std::int32_t process, std::int32_t root, const ParentLookup& parentOf) {
    if (root <= 1) return false;
    for (int i = 0; i < maxGenerations && process > 1; ++i) {
        if (process == root) return true;
        process = parentOf(process).value_or(0);
    }
    return false;
}

}  // namespace lumicrate::pipewire
