// Recording: one movie of the library.
#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <optional>

namespace lumicrate {

/// Its identity is its `url`.
struct Recording {
    std::filesystem::path url;
    /// The distant past where the file system gives none.
    std::chrono::system_clock::time_point created = std::chrono::system_clock::time_point::min();
    std::uintmax_t size = 0;         ///< bytes
    std::optional<double> duration;  ///< seconds; nothing until it was read

    bool operator==(const Recording&) const = default;
};

}  // namespace lumicrate
