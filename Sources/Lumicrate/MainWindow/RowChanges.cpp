#include "Lumicrate/MainWindow/RowChanges.h"

#include <algorithm>
#include <string>
#include <string_view>
#include <unordered_set>

namespace lumicrate {

namespace {

using Paths = std::vector<std::filesystem::path>;

/// The rows of `list` that `other` has not, in ranges, and those that stay.
std::vector<RowChanges::Range> missingRanges(const Paths& list, const Paths& other,
                                             std::vector<std::string_view>& staying) {
    const std::unordered_set<std::string_view> kept = [&other] {
        std::unordered_set<std::string_view> all;
        for (const auto& each : other)
            all.insert(each.native());
        return all;
    }();
    std::vector<RowChanges::Range> ranges;
    for (std::size_t row = 0; row < list.size(); ++row) {
        if (kept.contains(list[row].native())) {
            staying.push_back(list[row].native());
        } else if (!ranges.empty() && ranges.back().first + ranges.back().count == row) {
            ++ranges.back().count;
        } else {
            ranges.push_back({row, 1});
        }
    }
    return ranges;
}

}  // namespace

std::optional<RowChanges> rowChanges(const Paths& before, const Paths& after) {
    if (before == after) return RowChanges{};
    std::vector<std::string_view> stayingBefore;
    std::vector<std::string_view> stayingAfter;
    RowChanges changes;
    changes.removed = missingRanges(before, after, stayingBefore);
    changes.inserted = missingRanges(after, before, stayingAfter);
    if (stayingBefore != stayingAfter) return std::nullopt;
    std::reverse(changes.removed.begin(), changes.removed.end());
    return changes;
}

}  // namespace lumicrate
