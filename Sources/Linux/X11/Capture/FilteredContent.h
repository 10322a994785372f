// SPDX-License-Identifier: GPL-3.0-or-later
// FilteredContent: the picture of a content filter that names windows.
//
// Outside of excluded windows the picture is the screen's own. Inside their frames, and for windows that are
// recorded alone, it is composed from the pixels of the windows that belong in it. The server keeps those
// pixels in pixmaps (Composite) while they are needed.
//
// No excluded window is ever shown. Example: an excluded window moves while the screen is being read. The
// server sends the event of the move before the pixels that show it, so the event has been handled when
// usableParts() is called, and the pixels at the window's new place are not used. A window that appears
// counts as excluded until its owner is known.
#pragma once

#include "Linux/X11/Capture/CaptureContent.h"
#include "Linux/X11/Capture/LayerCanvas.h"
#include "Linux/X11/Capture/RecentArea.h"
#include "Linux/X11/Capture/RootBackground.h"
#include "Linux/X11/Capture/WindowLayers.h"
#include "Linux/X11/Screens/CompositorWatch.h"
#include "Linux/X11/Windows/ExcludedWindows.h"
#include "Linux/X11/Windows/RelatedWindows.h"
#include "Linux/X11/Windows/VisibleFrame.h"
#include "Linux/X11/Windows/WindowAtoms.h"
#include "Linux/X11/Windows/WindowStack.h"
#include "Platform/ScreenCaptureKit.h"

#include <optional>
#include <vector>

namespace lumicrate::x11 {

/// Which windows a content filter shows, and in what order.
struct ContentRule {
    SCContentFilter::Kind kind = SCContentFilter::Kind::displayExcludingWindows;
    /// The top-level windows of the filter's windows, in its order; XCB_NONE for one that does not exist.
    std::vector<xcb_window_t> named;

    bool excludes() const { return kind == SCContentFilter::Kind::displayExcludingWindows; }
    bool names(xcb_window_t window) const;
    /// The windows to draw over the background for that part of the picture, bottom to top, without those
    /// that are completely covered. When windows are recorded alone, the first named one is at the bottom and
    /// the others are overlays on it.
    std::vector<StackedWindow> layersAt(const PixelRect& rect, const WindowStack& stack) const;
};

/// Whether the background is visible anywhere below those layers.
bool backgroundShows(const PixelRect& rect, const std::vector<StackedWindow>& layers);

class FilteredContent final : public CaptureContent {
 public:
    /// `connection` must outlive the content. Throws PlatformError when the server lacks an extension.
    FilteredContent(const Connection& connection, const SCContentFilter& filter);

    bool setFilter(const SCContentFilter& filter) override;
    bool handleEvent(const xcb_generic_event_t& event) override;
    void prepare(const SourceGeometry& geometry, pictures::BlockRegion& unread) override;
    void requestDamage() override;
    void collectDamage(pictures::BlockRegion& unread) override;
    /// Also sends the requests that compose the pixels to read.
    std::vector<PixelRead> plan(const pictures::BlockRegion& unread) override;
    std::vector<PixelRect> usableParts(std::size_t read) const override;
    void windowReadFailed(std::size_t read) override;
    void removeHeldBack(pictures::BlockRegion& blocks) const override { blocks.remove(heldBack_); }
    std::optional<Time> nextUpdate() const override;
    void locateWindows() override;
    std::optional<PixelRect> recordedFrame() const override;
    bool isFrozen() const override { return !rule_.excludes() && !recordedFrame(); }
    void layoutChanged() override { background_.reset(); }

 private:
    /// A window of the filter, or one that it excludes by process or rule.
    struct Target {
        xcb_window_t window = XCB_NONE;  ///< XCB_NONE for one that was destroyed
        xcb_window_t topLevel = XCB_NONE;
        bool stale = true;    ///< it may have another top-level window
        bool byRule = false;  ///< one of ExcludedWindows
        /// Of a frame that is excluded by rule: the window that was put into it.
        xcb_window_t content = XCB_NONE;
    };
    /// A window has been put into another one, which may be its frame.
    struct Framing {
        xcb_window_t frame;
        xcb_window_t content;
        bool closed = false;  ///< the content was destroyed
    };
    /// Where a window was that may have to be excluded.
    struct UndecidedArea {
        xcb_window_t window;
        PixelRect rect;
    };
    struct PlannedRead {
        PixelRect rect;
        bool composed = false;
        std::vector<StackedWindow> layers;
    };

    bool waitForCompositor();
    bool handleTargetEvent(const xcb_generic_event_t& event);
    void handleTargetDestroyed(Target& target);
    void handleContentDestroyed(xcb_window_t window);
    void excludeFrames(std::vector<xcb_window_t>& found);
    void setTargets(const SCContentFilter& filter);
    void addTarget(xcb_window_t window, bool byRule);
    void addExcluded();
    bool isUnclear() const { return targetsStale_ || (excluded_ && excluded_->hasUndecidedFrame()); }
    void decideOwners();
    void resolveTargets();
    void nameWindows();
    bool applyChange(const StackChange& change);
    const StackedWindow* recordedWindow() const;
    bool isExcluded(xcb_window_t window) const;
    std::vector<PixelRect> areaOf(const StackedWindow& window) const;
    void rememberExcludedArea(const StackedWindow& window);
    pictures::BlockRegion composedBlocks() const;
    void updateHeldBack();
    std::vector<StackedWindow> neededLayers() const;
    PixelRead planComposed(const PixelRect& rect, const std::vector<StackedWindow>& layers);
    bool isSinglePixmap(const PixelRect& rect, const std::vector<StackedWindow>& layers) const;
    void compose(const PixelRect& rect, const std::vector<StackedWindow>& layers);
    bool areCurrent(const PlannedRead& planned) const;

    const Connection& connection_;
    WindowAtoms atoms_;
    std::vector<Target> targets_;  ///< first the filter's windows, in its order
    std::vector<xcb_window_t> excepted_;
    ContentRule rule_;
    bool targetsStale_ = true;       ///< one of them is
    std::vector<Framing> framings_;  ///< of excluded and undecided windows, since the last update
    CompositorWatch compositor_;
    StackWatch stack_;
    std::optional<VisibleFrameWatch> visible_;  ///< of the recorded window
    std::optional<ExcludedWindows> excluded_;   ///< by process or rule
    std::optional<RelatedWindows> related_;     ///< to the recorded window
    WindowLayers layers_;
    std::optional<DamageTracker> screenDamage_;  ///< only where the picture contains the screen
    std::optional<RootBackground> background_;
    std::optional<LayerCanvas> canvas_;

    Time now_{};  ///< of the current update
    SourceGeometry geometry_;
    RecentArea recentlyExcluded_;
    std::vector<UndecidedArea> undecidedAreas_;  ///< since the last update
    pictures::BlockRegion composed_;             ///< what is not read from the screen
    pictures::BlockRegion invalidated_;          ///< what changed in it other than by drawing
    pictures::BlockRegion heldBack_;             ///< what is not reliable yet
    std::optional<Time> paintedBy_;  ///< when the compositing manager has painted what windows drew
    std::vector<PlannedRead> planned_;
};

}  // namespace lumicrate::x11
