// FilteredContent: the picture that a content filter with windows asks for.
//
// Where no excluded window is, the picture is the screen's own. Within excluded windows' frames, and for
// windows recorded by themselves, it is put together from the pixels of the windows that belong in it, which
// the server keeps apart for as long as that is needed.
//
// No excluded window is ever seen: pixels are used only when nothing that the server told before it gave them
// says that they show something else than was asked for.
#pragma once

#include "Linux/X11/Capture/ContentRule.h"
#include "Linux/X11/Capture/LayerCanvas.h"
#include "Linux/X11/Capture/LayerSet.h"
#include "Linux/X11/Capture/LingeringArea.h"
#include "Linux/X11/Capture/RootBackground.h"
#include "Linux/X11/Capture/ScreenReader.h"
#include "Linux/X11/Capture/SourceGeometry.h"
#include "Linux/X11/Pixels/BlockRegion.h"
#include "Linux/X11/Screens/CompositorWatch.h"
#include "Linux/X11/Windows/StackWatch.h"
#include "Platform/ScreenCaptureKit.h"

#include <chrono>
#include <cstddef>
#include <optional>
#include <vector>

namespace lumicrate::x11 {

/// A look is prepare(), requestDamage() and takeDamage(), plan(), the reading, hears() for all events that
/// have come by then, and usable() for each read. Blocks are the source's. One thread at a time.
class FilteredContent {
 public:
    using Time = std::chrono::nanoseconds;

    /// `connection` must outlive the content. Throws PlatformError when the server cannot do it.
    FilteredContent(const Connection& connection, const SCContentFilter& filter);

    /// Whether the event may change the picture.
    bool hears(const xcb_generic_event_t& event);
    /// The frame of the window that is recorded by itself; nothing while it is not to be seen. Then the
    /// picture stands still.
    std::optional<PixelRect> recordedFrame() const;
    bool standsStill() const { return !rule_.excludes() && !recordedFrame(); }
    /// The screen may have another size.
    void forgetBackground() { background_.reset(); }

    /// Finds out what is to be read from where; adds to `unread` what that changes.
    void prepare(const SourceGeometry& geometry, BlockRegion& unread);
    void requestDamage();
    /// Adds to `unread` what was drawn on, be it on the screen or in windows.
    void takeDamage(BlockRegion ofScreen, BlockRegion& unread);
    /// What is to be read now, after what this puts together for it.
    std::vector<PixelRead> plan(const BlockRegion& unread);
    /// The parts of a read, by its number, that show what they should, on the root window.
    std::vector<PixelRect> usable(std::size_t read) const;
    /// The server refused a read.
    void refuse(std::size_t read);

    /// What is better read later.
    const BlockRegion& held() const { return held_; }
    /// When to look without any further event, host clock.
    std::optional<Time> nextLook() const;

 private:
    struct Planned {
        PixelRect rect;
        bool composed = false;
        std::vector<StackedWindow> layers;
    };

    bool awaitPainting();
    bool hearsTarget(const xcb_generic_event_t& event);
    void resolveTargets();
    bool note(const StackChange& change);
    std::vector<PixelRect> excludedArea(const StackedWindow& window) const;
    void linger(const StackedWindow& window);
    BlockRegion blocksOf(const std::vector<PixelRect>& onRoot) const;
    PixelRect toSource(const PixelRect& onRoot) const;
    BlockRegion composedBlocks() const;
    void hold();
    std::vector<StackedWindow> neededLayers() const;
    PixelRead planComposed(const PixelRect& rect, const std::vector<StackedWindow>& layers);
    bool isWindowsOwn(const PixelRect& rect, const std::vector<StackedWindow>& layers) const;
    void compose(const PixelRect& rect, const std::vector<StackedWindow>& layers);

    const Connection& connection_;
    std::vector<xcb_window_t> windows_;  ///< as the filter names them; XCB_NONE for one that is gone
    ContentRule rule_;
    bool targetsStale_ = true;
    CompositorWatch compositor_;
    StackWatch stack_;
    LayerSet layers_;
    std::optional<RootBackground> background_;
    std::optional<LayerCanvas> canvas_;

    Time now_{};  ///< of the present look
    SourceGeometry geometry_;
    LingeringArea lingering_;
    BlockRegion composed_;  ///< what is not read from the screen
    BlockRegion touched_;   ///< what changed in it otherwise than by drawing
    BlockRegion held_;
    std::optional<Time> paintedBy_;  ///< when what was drawn is on the screen too, or never will be
    std::vector<Planned> planned_;
};

}  // namespace lumicrate::x11
