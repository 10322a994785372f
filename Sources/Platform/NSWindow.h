// SPDX-License-Identifier: GPL-3.0-or-later
// NSWindow: a document window of the application.
#pragma once

#include "Support/Geometry.h"

#include <filesystem>
#include <functional>
#include <optional>
#include <string>

namespace lumicrate {

/// Titled, closable, miniaturizable and resizable. It is shown by makeKeyAndOrderFront and removed by its
/// destructor. Sizes in points. Main thread only.
class NSWindow {
 public:
    virtual ~NSWindow() = default;
    virtual void setContentMinSize(Size size) = 0;
    virtual void setContentSize(Size size) = 0;
    /// Of the screen that the window is on, or else of the main one.
    virtual Size visibleFrameSize() const = 0;
    virtual void center() = 0;
    /// Shows the window in front of all others, restores it when miniaturized, and activates the application.
    virtual void makeKeyAndOrderFront() = 0;
    /// Called when the user has closed the window. The handler may destroy the window.
    virtual void setOnClose(std::function<void()> closed) = 0;
};

}  // namespace lumicrate
