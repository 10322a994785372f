// SPDX-License-Identifier: GPL-3.0-or-later
// RecordingBadge: shows on the program's icon in the desktop's launcher that something is being recorded.
#pragma once

#include "Lumicrate/Recording/ScreenRecorder.h"
#include "Platform/NSDockTile.h"
#include "Support/Executor.h"
#include "Support/Published.h"
#include "Support/Task.h"

#include <optional>

namespace lumicrate {

/// While recording or paused, the badge is the minute of the recording, counted from 1. While its audio
/// tracks are mixed afterwards, it is the progress of that. Otherwise there is none. Main thread.
class RecordingBadge {
 public:
    /// All must outlive it. `mixing` is the progress of mixing, from 0 to 1; nothing if there is none.
    RecordingBadge(Executor& executor, ScreenRecorder& recorder,
                   const Published<std::optional<double>>& mixing, NSDockTile& tile);
    RecordingBadge(const RecordingBadge&) = delete;
    RecordingBadge& operator=(const RecordingBadge&) = delete;

 private:
    Task<void> follow();
    void show(const DockTileBadge& badge);

    Executor& executor_;
    ScreenRecorder& recorder_;
    NSDockTile& tile_;
    DockTileBadge shown_;
    Subscription stateChanges_;
    Subscription mixingChanges_;
    RunningTask following_;
};

}  // namespace lumicrate
