// SPDX-License-Identifier: GPL-3.0-or-later
// Redraw: makes a compositor draw a frame although nothing on the screen changes.
#pragma once

#include <chrono>
#include <string>

namespace lumicrate::wayland {

/// Compositors of the wlroots family send the first picture of a screen cast only with the next frame that
/// they draw, which a still screen may never have. This shows a transparent surface of one point for a
/// moment. Returns after that, or at once with other compositors, which need no help. Never throws; waits at
/// most for the timeout a few times. Any thread.
void requestRedraw(const std::string& displayName = {},
                   std::chrono::milliseconds timeout = std::chrono::milliseconds(500)) noexcept;

}  // namespace lumicrate::wayland
