// SPDX-License-Identifier: GPL-3.0-or-later
// NSDockTile: the program's icon in the desktop's launcher or panel.
#pragma once

#include <optional>

namespace lumicrate {

/// What is drawn on the icon.
struct DockTileBadge {
    std::optional<int> count;        ///< a number, at least 0
    std::optional<double> progress;  ///< of a bar, 0 to 1

    bool operator==(const DockTileBadge&) const = default;
};

/// Main thread; never blocks it. Without support by the desktop nothing is drawn.
class NSDockTile {
 public:
    virtual ~NSDockTile() = default;
    virtual void setBadge(const DockTileBadge& badge) = 0;
};

}  // namespace lumicrate
