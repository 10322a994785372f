// RowChanges: how one list becomes another, so that a view can keep what is selected and where it is
// scrolled.
#pragma once

#include <cstddef>
#include <filesystem>
#include <optional>
#include <vector>

namespace lumicrate {

/// First the removals, the last rows first, then the insertions, the first rows first: each range is told in
/// row numbers of the moment at which it is applied.
struct RowChanges {
    struct Range {
        std::size_t first = 0;
        std::size_t count = 0;
        bool operator==(const Range&) const = default;
    };
    std::vector<Range> removed;
    std::vector<Range> inserted;
};

/// From `before` to `after`, in neither of which a path comes twice. None where what stays comes in another
/// order.
std::optional<RowChanges> rowChanges(const std::vector<std::filesystem::path>& before,
                                     const std::vector<std::filesystem::path>& after);

}  // namespace lumicrate
