// SPDX-License-Identifier: GPL-3.0-or-later
// followWindow: keeps the captured part of the display on a window that the user moves or resizes.
#pragma once

#include "Platform/ScreenCaptureKit.h"
#include "Support/Executor.h"
#include "Support/Geometry.h"
#include "Support/Task.h"

#include <cstdint>
#include <functional>

namespace lumicrate {

/// A recorded window when capture was set up.
struct FollowedWindow {
    std::uint32_t windowID = 0;
    std::uint32_t displayID = 0;  ///< the captured one
    Rect frame;                   ///< global, points
};

/// The actions when the window moves.
struct WindowFollowing {
    /// Captures that part of the display: points from its top left corner.
    std::function<Task<void>(Rect)> setSourceRect;
    /// The window has gone from one frame to another (global).
    std::function<void(const Rect& before, const Rect& now)> moved;
    /// The window was closed, or the display server does not answer.
    std::function<void()> closed;
};

/// Checks the window's frame every 120 ms until it is cancelled or the window is closed. Nothing changes
/// while the window is minimised or on another display. Main thread; the references must outlive the task.
Task<void> followWindow(Executor& executor, const ScreenCaptureKit& capture, FollowedWindow window,
                        WindowFollowing handlers);

}  // namespace lumicrate
