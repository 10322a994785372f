// A panel: a window over everything else, which as a rule takes the keyboard from nobody.
#pragma once

#include "Support/Geometry.h"

#include <cstdint>
#include <functional>

namespace lumicrate {

/// Frames are in the coordinates of NSScreen. A panel has no border, is seen through where its content is,
/// shows on all desktops, is in no list of windows, and stays in front; it never becomes the window that gets
/// the keys, unless it is made for that. Its buttons take the first click. It is not seen before it is
/// ordered to the front, and goes off the screen with the object. Main thread only.
class NSPanel {
 public:
    static constexpr int statusLevel = 25;
    static constexpr int screenSaverLevel = 1000;

    struct Settings {
        Rect frame;
        /// Panels of a higher level lie over those of a lower one.
        int level = statusLevel;
        bool ignoresMouseEvents = false;  ///< the pointer acts on what lies below
        bool hasShadow = false;
        bool canBecomeKey = false;
        /// Makes the panel movable by its background: called, while the user drags it, with where its origin
        /// would go. Whoever is called moves the panel as far as he likes.
        std::function<void(Point origin)> onDrag;
    };

    virtual ~NSPanel() = default;
    /// Shows it, without the application's coming to the front.
    virtual void orderFrontRegardless() = 0;
    /// Shows it and gives it the keys, all of them, until it goes; then the window that had them gets them
    /// back. Only for one that can become key.
    virtual void makeKeyAndOrderFront() = 0;
    virtual Rect frame() const = 0;
    virtual void setFrame(const Rect& frame) = 0;
    void setFrameOrigin(Point origin) {
        setFrame(frame().offsetBy(origin.x - frame().minX(), origin.y - frame().minY()));
    }
    /// By which capture knows the panel; the same for as long as the panel lives.
    virtual std::uint32_t windowNumber() const = 0;
};

}  // namespace lumicrate
