// SPDX-License-Identifier: GPL-3.0-or-later
// CaptureContent: where a capture reads its pixels, and which of them may be used. There are two strategies:
// ScreenContent reads the screen as it is; FilteredContent follows a filter that names windows.
// SourceGeometry: which pixels of the root window a stream shows.
#pragma once

#include "Linux/Pictures/BlockRegion.h"
#include "Linux/X11/Capture/DamageTracker.h"
#include "Linux/X11/Capture/ScreenReader.h"
#include "Linux/X11/Server/Connection.h"
#include "Platform/ScreenCaptureKit.h"
#include "Support/Geometry.h"

#include <chrono>
#include <cstddef>
#include <optional>
#include <vector>

namespace lumicrate::x11 {

struct SourceGeometry {
    PixelRect region;    ///< on the root window; may reach outside of it
    PixelRect readable;  ///< the part of the region that exists; the rest is black
    bool operator==(const SourceGeometry&) const = default;

    /// From the root window's coordinates to the source's.
    PixelRect toSource(const PixelRect& onRoot) const { return onRoot.offsetBy(-region.x, -region.y); }
    /// The source's blocks that these rectangles on the root window touch, within `readable`.
    pictures::BlockRegion blocksIn(const std::vector<PixelRect>& onRoot) const;
    /// Rectangles on the root window that cover these blocks, within `readable`. Their number is limited,
    /// since each costs a request.
    std::vector<PixelRect> rectanglesOnRoot(const pictures::BlockRegion& blocks) const;
};

/// `display` and `root` are pixels. `sourceRect` is in points relative to the display, as for sourceRegion().
SourceGeometry sourceGeometry(const PixelRect& display, const PixelRect& root,
                              const std::optional<Rect>& sourceRect, double scale);

/// One update calls prepare(), requestDamage(), collectDamage() and plan(), in this order. Then the caller
/// reads the planned rectangles, passes all events that have arrived to handleEvent(), and uses of each read
/// only usableParts(). Block regions are the source's; rectangles are on the root window. One thread at a
/// time. All operations throw PlatformError when the server is lost.
class CaptureContent {
 public:
    using Time = std::chrono::nanoseconds;  ///< host clock

    virtual ~CaptureContent() = default;

    /// Applies a filter of the same kind with the next update; false if the content cannot follow it.
    virtual bool setFilter(const SCContentFilter& /*filter*/) { return false; }
    /// Whether the event may change the picture.
    virtual bool handleEvent(const xcb_generic_event_t& event) = 0;
    /// Sets what the update shows. Adds to `unread` the blocks whose origin has changed.
    virtual void prepare(const SourceGeometry& geometry, pictures::BlockRegion& unread) = 0;
    /// Sends the request for collectDamage(), so that other requests can be sent along.
    virtual void requestDamage() = 0;
    /// Adds to `unread` the blocks that were drawn on.
    virtual void collectDamage(pictures::BlockRegion& unread) = 0;
    /// The rectangles to read now, in order to update `unread`.
    virtual std::vector<PixelRead> plan(const pictures::BlockRegion& unread) = 0;
    /// The parts of the planned read with that index that show what they should.
    virtual std::vector<PixelRect> usableParts(std::size_t read) const = 0;

    /// The server refused a planned read of a window's pixels.
    virtual void windowReadFailed(std::size_t /*read*/) {}
    /// Removes the blocks that a later update should read because they are not reliable yet.
    virtual void removeHeldBack(pictures::BlockRegion& /*blocks*/) const {}
    /// When to update without any event; nothing for never.
    virtual std::optional<Time> nextUpdate() const { return std::nullopt; }
    /// Queries what recordedFrame() needs to know and events did not tell.
    virtual void locateWindows() {}
    /// The visible frame of the window that is recorded alone; nothing while it is not viewable.
    virtual std::optional<PixelRect> recordedFrame() const { return std::nullopt; }
    /// Whether the picture stays as it is because the recorded window is not viewable.
    virtual bool isFrozen() const { return false; }
    /// The root window may have another size.
    virtual void layoutChanged() {}
};

/// The screen as it is, with all windows.
class ScreenContent final : public CaptureContent {
 public:
    /// `connection` must outlive the content.
    explicit ScreenContent(const Connection& connection);

    bool handleEvent(const xcb_generic_event_t& event) override { return damage_.handleEvent(event); }
    void prepare(const SourceGeometry& geometry, pictures::BlockRegion& unread) override;
    void requestDamage() override { damage_.request(); }
    void collectDamage(pictures::BlockRegion& unread) override;
    std::vector<PixelRead> plan(const pictures::BlockRegion& unread) override;
    std::vector<PixelRect> usableParts(std::size_t read) const override { return {planned_[read]}; }

 private:
    xcb_window_t root_;
    DamageTracker damage_;
    SourceGeometry geometry_;
    std::vector<PixelRect> planned_;
};

}  // namespace lumicrate::x11
