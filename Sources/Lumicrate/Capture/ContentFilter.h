// The content filter: which display a recording shows, and which windows belong in the picture.
#pragma once

#include "Lumicrate/Capture/CaptureSource.h"
#include "Platform/ScreenCaptureKit.h"

#include <cstdint>
#include <optional>
#include <vector>

namespace lumicrate {

/// The window numbers of the application's own overlays.
struct OverlayWindows {
    std::vector<std::uint32_t> keep;    ///< meant to be recorded: webcam bubble, click highlights
    std::vector<std::uint32_t> chrome;  ///< never recorded: control bar, area frame
};

/// What a filter is made for.
struct FilterRequest {
    std::optional<CaptureSource> source;  ///< the main display when absent
    bool hideSelf = true;                 ///< leave out this application's windows, but for the kept overlays
    OverlayWindows overlays;
    std::int32_t processID = 0;  ///< this application's
    std::uint32_t mainDisplayID = 0;
};

/// What a stream is to show.
struct CaptureTarget {
    SCContentFilter filter;
    /// For a window on a display: that display, and the window's place on it in whole points.
    std::optional<std::uint32_t> windowDisplayID;
    std::optional<Rect> windowSourceRect;
};

/// Throws RecorderError (noDisplay, windowGone).
CaptureTarget makeFilter(const SCShareableContent& content, const FilterRequest& request);

/// The desktop's main display if `displays` has it, else the first of them, else the desktop's own word.
std::uint32_t chooseMainDisplay(const std::vector<SCDisplay>& displays, std::uint32_t desktopMainDisplayID);

/// The part of a display that a window covers, in whole points from the display's top left corner; empty when
/// it lies elsewhere. Both frames are global.
Rect partOfDisplay(const Rect& window, const Rect& display);

/// The display that shows most of a frame, the earlier one when in doubt. `displays` must not be empty.
const SCDisplay& displayShowingMost(const std::vector<SCDisplay>& displays, const Rect& frame);

}  // namespace lumicrate
