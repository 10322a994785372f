// SPDX-License-Identifier: GPL-3.0-or-later
// RelatedWindows: the windows that a filter's rule adds to a recorded window while they are on the screen:
// its menus, dialogs and so on.
#pragma once

#include "Linux/X11/Server/Connection.h"
#include "Linux/X11/Windows/FactsReader.h"
#include "Linux/X11/Windows/WindowStack.h"
#include "Platform/ScreenCaptureKit.h"

#include <vector>

namespace lumicrate::x11 {

/// Each window is judged when it is mapped. One thread at a time; update() throws PlatformError when the
/// server is lost.
class RelatedWindows {
 public:
    /// `recorded` is the application's window, `scale` is pixels per point. `connection` must outlive the
    /// object. Throws PlatformError when the server is lost.
    RelatedWindows(const Connection& connection, SCWindowRule rule, xcb_window_t recorded, double scale);

    /// Those in the picture: top-level windows.
    std::vector<xcb_window_t> topLevels() const;
    /// Judges again the windows that are not in the picture.
    void reconsider() { pendingAll_ = true; }
    /// Whether a window has appeared, so that update() is due.
    bool handleChange(const StackChange& change);
    /// Judges the windows that have appeared, with a few round trips each. Returns the added ones' frames.
    std::vector<PixelRect> update(const WindowStack& stack);

 private:
    struct Member {
        xcb_window_t topLevel = XCB_NONE;
        SCWindowFacts facts;
    };

    bool isMember(xcb_window_t topLevel) const;
    std::vector<Member> candidates(const WindowStack& stack);
    SCWindowFacts factsInside(const StackedWindow& topLevel) const;
    Rect points(const PixelRect& frame) const;

    const Connection& connection_;
    FactsReader reader_;
    SCWindowRule rule_;
    double scale_;
    std::vector<Member> members_;  ///< first the recorded window
    std::vector<xcb_window_t> pending_;
    bool pendingAll_ = true;
};

}  // namespace lumicrate::x11
