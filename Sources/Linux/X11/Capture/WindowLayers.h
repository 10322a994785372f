// SPDX-License-Identifier: GPL-3.0-or-later
// WindowLayers: windows' own pixels, complete also where other windows cover them (Composite).
#pragma once

#include "Linux/X11/Capture/DamageTracker.h"
#include "Linux/X11/Capture/LayerCanvas.h"
#include "Linux/X11/Server/Connection.h"
#include "Linux/X11/Windows/WindowStack.h"

#include <xcb/composite.h>
#include <xcb/render.h>
#include <xcb/xfixes.h>

#include <chrono>
#include <map>
#include <optional>
#include <vector>

namespace lumicrate::x11 {

/// While it lives, the server keeps the window's pixels in a pixmap, whether or not a compositing manager
/// makes it do so too. What was hidden when that began, or appears by enlarging the window, contains whatever
/// the screen showed there until the window's program has painted it. Such pixels are unreliable: all for a
/// tenth of a second, and those that were hidden until they are painted, for a second at most.
class WindowLayer {
 public:
    using Time = std::chrono::nanoseconds;

    /// `connection` and `formats` must outlive the layer. `hidden` is where other windows cover this one or
    /// it lies outside of the screen, on the root window; `now` is the host clock's time.
    WindowLayer(const Connection& connection, const RenderFormats& formats, const StackedWindow& window,
                std::vector<PixelRect> hidden, Time now);
    ~WindowLayer();
    WindowLayer(const WindowLayer&) = delete;
    WindowLayer& operator=(const WindowLayer&) = delete;

    /// Adapts to the window's current state. Whether its pixels may have changed.
    bool update(const StackedWindow& window, Time now);
    /// Takes the window's pixmap again with the next update().
    void renewPixmap() { stale_ = true; }

    /// Its origin is the frame's top-left pixel; XCB_NONE for a window that is not viewable.
    xcb_pixmap_t pixmap() const { return pixmap_; }
    /// For drawing it on a canvas.
    CanvasSource source() const;

    /// Whether the event announces that the window was drawn on.
    bool handleEvent(const xcb_generic_event_t& event);
    /// Requests the damage, if there is any; collectDamage() waits for the reply.
    void requestDamage();
    /// On the root window.
    std::vector<PixelRect> collectDamage();

    /// Where pixels are not reliable yet, on the root window.
    std::vector<PixelRect> unreliable(Time now) const;
    /// When the next of them will be.
    std::optional<Time> nextReliable(Time now) const;

 private:
    struct UnreliablePart {
        PixelRect rect;  ///< relative to the frame
        Time until;
        std::vector<PixelRect> unpainted{};  ///< parts of it that stay unreliable for longer unless painted
        Time unpaintedUntil{};
    };

    void takePixmap();
    void markGrowth(const PixelRect& before, Time now);
    void freePixels();

    const Connection& connection_;
    const RenderFormats& formats_;
    StackedWindow window_;
    bool stale_ = true;
    xcb_pixmap_t pixmap_ = XCB_NONE;
    xcb_render_picture_t picture_ = XCB_NONE;
    xcb_xfixes_region_t shape_ = XCB_NONE;  ///< its origin is inside the border
    DamageTracker damage_;
    bool damaged_ = false;
    bool requested_ = false;
    std::vector<UnreliablePart> unreliableParts_;
};

/// The layers that a picture is composed from.
class WindowLayers {
 public:
    using Time = std::chrono::nanoseconds;

    /// `connection` must outlive the set. Throws PlatformError when the server lacks an extension.
    explicit WindowLayers(const Connection& connection);

    const RenderFormats& formats() const { return formats_; }
    /// Keeps a layer for exactly these windows of the stack. Returns where pixels may have changed, on the
    /// root window.
    std::vector<PixelRect> update(const std::vector<StackedWindow>& windows, const WindowStack& stack,
                                  Time now);
    /// Null for a window without a layer, or whose layer has no pixels.
    const WindowLayer* find(xcb_window_t window) const;
    /// Takes the window's pixmap again with the next update: the server refused to read it.
    void renewPixmap(xcb_window_t window);

    /// Whether the event announces that one of the windows was drawn on.
    bool handleEvent(const xcb_generic_event_t& event);
    void requestDamage();
    /// On the root window.
    std::vector<PixelRect> collectDamage();

    /// Where pixels are not reliable yet, on the root window, and when the next of them will be.
    std::vector<PixelRect> unreliable(Time now) const;
    std::optional<Time> nextReliable(Time now) const;

 private:
    const Connection& connection_;
    RenderFormats formats_;
    std::map<xcb_window_t, WindowLayer> layers_;
};

}  // namespace lumicrate::x11
