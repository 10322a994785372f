// SPDX-License-Identifier: GPL-3.0-or-later
// Recording: one movie of the library.
#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <optional>

namespace lumicrate {

/// Identified by its `url`.
struct Recording {
    std::filesystem::path url;
    /// time_point::min() if the file system does not report it.
    std::chrono::system_clock::time_point created = std::chrono::system_clock::time_point::min();
    std::uintmax_t size = 0;         ///< bytes
    std::optional<double> duration;  ///< seconds; absent until it has been read

    bool operator==(const Recording&) const = default;
};

}  // namespace lumicrate
