// SPDX-License-Identifier: GPL-3.0-or-later
// LauncherEntry: badges on the program's icon in launchers and panels, by the signal
// com.canonical.Unity.LauncherEntry.Update, which Plasma, Ubuntu's dock, Dash to Dock and others follow.
#pragma once

#include "Platform/NSDockTile.h"

namespace lumicrate::desktop {

/// Launchers know the program by its installed desktop entry.
class LauncherEntry final : public NSDockTile {
 public:
    LauncherEntry() = default;
    /// Removes the badge.
    ~LauncherEntry() override;
    LauncherEntry(const LauncherEntry&) = delete;
    LauncherEntry& operator=(const LauncherEntry&) = delete;

    void setBadge(const DockTileBadge& badge) override;

 private:
    bool isVisible_ = false;
};

}  // namespace lumicrate::desktop
