// WindowFollower: keeps what is recorded on a window that is moved or resized.
#pragma once

#include "Platform/ScreenCaptureKit.h"
#include "Support/Executor.h"
#include "Support/Geometry.h"
#include "Support/Task.h"

#include <cstdint>
#include <functional>

namespace lumicrate {

/// A recorded window, as it was when capture was set up.
struct FollowedWindow {
    std::uint32_t windowID = 0;
    std::uint32_t displayID = 0;  ///< the one that is captured
    Rect frame;                   ///< global, points
};

/// What is done when the window moves.
struct WindowFollowing {
    /// Shows that part of the display: points from its top left corner.
    std::function<Task<void>(Rect)> setSourceRect;
    /// The window has gone from one frame to another (global).
    std::function<void(const Rect& before, const Rect& now)> moved;
};

/// Looks at the window's frame every 120 ms until it is cancelled. While the window is gone, or lies on
/// another display, nothing is changed. Main thread; the references must outlive the task.
Task<void> followWindow(Executor& executor, const ScreenCaptureKit& capture, FollowedWindow window,
                        WindowFollowing handlers);

}  // namespace lumicrate
