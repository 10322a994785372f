// ContentRule: which windows a content filter wants in the picture, and how they lie over each other.
#pragma once

#include "Linux/X11/Windows/WindowStack.h"
#include "Platform/ScreenCaptureKit.h"

#include <vector>

namespace lumicrate::x11 {

struct ContentRule {
    SCContentFilter::Kind kind = SCContentFilter::Kind::displayExcludingWindows;
    /// The top-level windows of those that the filter names, in its order; XCB_NONE for one that is not
    /// there.
    std::vector<xcb_window_t> named;

    bool excludes() const { return kind == SCContentFilter::Kind::displayExcludingWindows; }
    bool names(xcb_window_t window) const;
    /// The windows in that part of the picture, bottom to top, but for those that others hide: so whoever has
    /// drawn these over the background has drawn the picture. Of windows that are recorded by themselves the
    /// first is at the bottom, because what is recorded along with it is an overlay.
    std::vector<StackedWindow> layersAt(const PixelRect& rect, const WindowStack& stack) const;
};

/// Whether something of the background is to be seen there, below those layers.
bool backgroundShows(const PixelRect& rect, const std::vector<StackedWindow>& layers);

}  // namespace lumicrate::x11
