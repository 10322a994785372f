// SPDX-License-Identifier: GPL-3.0-or-later
// NSPanel: a window above all others that normally does not take the keyboard focus.
#pragma once

#include "Support/Geometry.h"

#include <cstdint>
#include <functional>

namespace lumicrate {

/// Frames are in the coordinates of NSScreen. A panel has no border, is transparent where its content is,
/// appears on all desktops and in no window list, and stays in front. It never gets the keyboard focus unless
/// `canBecomeKey` is set. Its buttons react to the first click. It is shown by the two order-front operations
/// and removed by orderOut or its destructor. Main thread only.
class NSPanel {
 public:
    static constexpr int statusLevel = 25;
    static constexpr int screenSaverLevel = 1000;

    struct Settings {
        Rect frame;
        /// Panels of a higher level are in front of those of a lower one.
        int level = statusLevel;
        bool ignoresMouseEvents = false;  ///< clicks go to the window below
        bool hasShadow = false;
        bool canBecomeKey = false;
        /// Makes the panel draggable by its background. Called during a drag with the proposed origin; the
        /// callee moves the panel.
        std::function<void(Point origin)> onDrag;
    };

    virtual ~NSPanel() = default;
    /// Shows the panel without activating the application.
    virtual void orderFrontRegardless() = 0;
    /// Shows the panel and gives it the keyboard focus, including global shortcuts, until it is destroyed;
    /// then the previous window gets the focus back. Requires `canBecomeKey`.
    virtual void makeKeyAndOrderFront() = 0;
    /// Hides the panel; it keeps its window number.
    virtual void orderOut() = 0;
    virtual Rect frame() const = 0;
    virtual void setFrame(const Rect& frame) = 0;
    void setFrameOrigin(Point origin) {
        setFrame(frame().offsetBy(origin.x - frame().minX(), origin.y - frame().minY()));
    }
    /// The window number that capture uses; it never changes.
    virtual std::uint32_t windowNumber() const = 0;
};

}  // namespace lumicrate
