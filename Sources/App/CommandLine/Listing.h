// SPDX-License-Identifier: GPL-3.0-or-later
// Listing: what there is to record and what has been recorded, for the commands that list it.
#pragma once

#include "Lumicrate/Library/RecordingLibrary.h"
#include "Platform/AVCaptureDevice.h"
#include "Platform/ScreenCaptureKit.h"

#include <cstdint>
#include <string>
#include <vector>

namespace lumicrate::app {

/// What can be recorded now.
struct Sources {
    enum class Part { all, screens, devices };

    std::vector<SCDisplay> displays;
    std::uint32_t mainDisplayID = 0;
    std::vector<SCWindow> windows;
    std::vector<CaptureDevice> microphones;
    std::vector<CaptureDevice> cameras;
};

/// The lists of the other part stay empty.
Sources findSources(Sources::Part part = Sources::Part::all);

/// "1920 × 1080 at 0,0"
std::string describe(const Rect& frame);

/// All recordings, newest first. Their durations are absent unless `durations`; reading them takes longer.
std::vector<Recording> findRecordings(bool durations = true);

/// "2024-05-01 14:03"; "–" when the file system keeps no date.
std::string shownDate(const Recording& recording);

}  // namespace lumicrate::app
