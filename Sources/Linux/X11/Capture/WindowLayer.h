// WindowLayer: a window's own pixels, complete also where other windows cover it.
#pragma once

#include "Linux/X11/Capture/DamageTracker.h"
#include "Linux/X11/Capture/LayerCanvas.h"
#include "Linux/X11/Capture/RenderFormats.h"
#include "Linux/X11/Server/Connection.h"
#include "Linux/X11/Windows/WindowStack.h"

#include <xcb/composite.h>
#include <xcb/render.h>
#include <xcb/xfixes.h>

#include <chrono>
#include <optional>
#include <vector>

namespace lumicrate::x11 {

/// While it lives, the server keeps the window's pixels apart from the screen's, whether or not a compositing
/// manager has it do so too. What was covered when that began, or comes with a larger size, is whatever was
/// on the screen there until the program behind the window has painted it. It is not to be trusted for a
/// moment, and what was covered not before it was painted, as long as that does not take for ever.
class WindowLayer {
 public:
    using Time = std::chrono::nanoseconds;

    /// `connection` and `formats` must outlive the layer. `cover` is where other windows lie over this one,
    /// on the root window; `now` is the host clock's time.
    WindowLayer(const Connection& connection, const RenderFormats& formats, const StackedWindow& window,
                std::vector<PixelRect> cover, Time now);
    ~WindowLayer();
    WindowLayer(const WindowLayer&) = delete;
    WindowLayer& operator=(const WindowLayer&) = delete;

    /// Keeps up with how the window is now. Whether its pixels may be others than before.
    bool follow(const StackedWindow& window, Time now);
    /// Takes the window's pixels anew with the next follow(): the server refused to give them.
    void renew() { stale_ = true; }

    /// Begins with the frame's top-left pixel; XCB_NONE for a window that is not viewable.
    xcb_pixmap_t pixmap() const { return pixmap_; }
    /// The same for drawing.
    CanvasSource source() const;

    /// Whether the event says that the window was drawn on.
    bool hears(const xcb_generic_event_t& event);
    /// Asks for what was drawn on, if anything was; the answer is fetched with collectDamage().
    void requestDamage();
    /// On the root window.
    std::vector<PixelRect> collectDamage();

    /// What is not to be trusted yet, on the root window.
    std::vector<PixelRect> untrusted(Time now) const;
    /// When some of it will be.
    std::optional<Time> nextTrust(Time now) const;

 private:
    struct Doubt {
        PixelRect rect;  ///< relative to the frame
        Time until;
        std::vector<PixelRect> unpainted{};  ///< of it; counts longer
        Time unpaintedUntil{};
    };

    void nameAnew();
    void doubtGrowth(const PixelRect& before, Time now);
    void freePixels();

    const Connection& connection_;
    const RenderFormats& formats_;
    StackedWindow window_;
    bool stale_ = true;
    xcb_pixmap_t pixmap_ = XCB_NONE;
    xcb_render_picture_t picture_ = XCB_NONE;
    xcb_xfixes_region_t shape_ = XCB_NONE;  ///< begins inside the border
    DamageTracker damage_;
    bool damaged_ = false;
    bool requested_ = false;
    std::vector<Doubt> doubts_;
};

}  // namespace lumicrate::x11
