// SPDX-License-Identifier: GPL-3.0-or-later
// The content filter of a recording: the captured display, and the windows that are excluded or included.
#pragma once

#include "Lumicrate/Capture/CaptureSource.h"
#include "Platform/ScreenCaptureKit.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace lumicrate {

/// The window numbers of the application's own overlays.
struct OverlayWindows {
    std::vector<std::uint32_t> keep;    ///< recorded: webcam bubble, click highlights, pressed keys
    std::vector<std::uint32_t> chrome;  ///< never recorded: control bar, area frame
};

/// The input of makeFilter.
struct FilterRequest {
    std::optional<CaptureSource> source;  ///< the main display when absent
    bool hideSelf = true;                 ///< exclude this application's windows, except the kept overlays
    std::vector<std::string> neverRecorded{};  ///< classes of the applications to exclude
    OverlayWindows overlays;
    std::int32_t processID = 0;  ///< this application's
    std::uint32_t mainDisplayID = 0;
};

/// What a stream captures.
struct CaptureTarget {
    SCContentFilter filter;
    /// For a window on a display: that display, and the window's part of it in whole points.
    std::optional<std::uint32_t> windowDisplayID;
    std::optional<Rect> windowSourceRect;
};

/// Windows of this application that appear later are treated like those that are listed in `content`, and
/// menus and dialogs of a recorded window are included as they appear (see WindowFamily.h). Windows of the
/// applications that are never recorded are in no picture (see NeverRecorded.h). Throws RecorderError
/// (noDisplay, windowGone, neverRecorded).
CaptureTarget makeFilter(const SCShareableContent& content, const FilterRequest& request);

/// Changes a filter of makeFilter after overlays have appeared or disappeared.
void setOverlays(SCContentFilter& filter, const OverlayWindows& overlays);

/// The desktop's main display if it is in `displays`, else the first of them; without any, the desktop's
/// value.
std::uint32_t chooseMainDisplay(const std::vector<SCDisplay>& displays, std::uint32_t desktopMainDisplayID);

/// The part of a display that a window covers, in whole points from the display's top left corner; empty if
/// they do not overlap. Both frames are global.
Rect partOfDisplay(const Rect& window, const Rect& display);

/// The display that shows the largest part of a frame; the first of several equal ones. `displays` must not
/// be empty.
const SCDisplay& displayShowingMost(const std::vector<SCDisplay>& displays, const Rect& frame);

}  // namespace lumicrate
