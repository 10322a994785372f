// SPDX-License-Identifier: GPL-3.0-or-later
// DisplayCapture: a copy of the pixels of a display, of a part of it, or of a window, kept up to date.
//
// Events (drawing, pointer, layout) only tell that an update is due. update() then fetches what changed, from
// the screen as it is or, for a filter that names windows, from FilteredContent.
#pragma once

#include "Linux/X11/Capture/CaptureContent.h"
#include "Linux/X11/Capture/PointerWatch.h"
#include "Linux/X11/Capture/ScreenReader.h"
#include "Linux/X11/Capture/ShadowImage.h"
#include "Linux/X11/PixelConversion/BlockRegion.h"
#include "Linux/X11/PixelConversion/CursorOverlay.h"
#include "Linux/X11/Screens/Displays.h"
#include "Linux/X11/Server/Connection.h"
#include "Platform/ScreenCaptureKit.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace lumicrate::x11 {

/// One thread at a time. All operations throw PlatformError when the server or the display is gone.
class DisplayCapture {
 public:
    /// What an update found, in pixels of the source.
    struct Changes {
        bool resized = false;  ///< the source has another size than before
        /// Not a valid picture yet: parts of it have not been read since the source was located.
        bool incomplete = false;
        BlockRegion blocks;             ///< where pixels changed
        std::vector<PixelRect> cursor;  ///< the cursor's old and new place, if it changed
    };

    /// Throws PlatformError when the display, or the single window, does not exist.
    DisplayCapture(const std::string& displayName, const SCContentFilter& filter,
                   const SCStreamConfiguration& configuration);

    /// Readable when the server has sent something.
    int fileDescriptor() const { return connection_.fileDescriptor(); }
    /// Applies source rectangle and cursor visibility with the next update.
    void configure(const SCStreamConfiguration& configuration);
    /// Applies a filter of the same display and kind with the next update.
    void setFilter(const SCContentFilter& filter);

    /// Flushes requests and handles all events that have arrived. Whether one of them makes an update due.
    /// Does not block.
    bool processEvents();
    /// When an update is due without any further event, host clock; nothing for never.
    std::optional<std::chrono::nanoseconds> nextUpdate() const;
    /// Fetches what changed.
    Changes update();

    /// As of the last update.
    BgraPicture& picture() { return shadow_.picture(); }
    /// The cursor in source coordinates; an empty one when it is not shown.
    const CursorOverlay& cursor() const { return cursor_; }

 private:
    bool handleEvent(const xcb_generic_event_t& event);
    bool isSingleWindow() const { return kind_ == SCContentFilter::Kind::desktopIndependentWindow; }
    std::optional<SourceGeometry> windowGeometry() const;
    std::optional<SourceGeometry> locateSource() const;
    void awaitSource();
    bool refreshLayout(Changes& changes);
    void moveCursor(const CursorOverlay& cursor, Changes& changes);
    void readPixels(Changes& changes);
    void screenReadDone(bool failed);
    void scheduleRetry(std::chrono::nanoseconds delay);

    Connection connection_;
    SCContentFilter::Kind kind_;
    std::uint32_t displayId_;
    double scale_;
    bool followsFirstWindow_;
    std::optional<Rect> sourceRect_;
    bool wasOnWindow_ = false;  ///< the source has been the window that it follows
    LayoutWatch layout_;
    std::unique_ptr<CaptureContent> content_;
    std::optional<PointerWatch> pointer_;  ///< while the cursor is shown
    ScreenReader reader_;

    bool eventDuringUpdate_ = false;  ///< an update is due because of an event handled during the last one
    bool layoutStale_ = true;
    std::optional<std::chrono::nanoseconds> retryAt_;
    std::optional<std::chrono::nanoseconds> missingSince_;  ///< since when the source has been missing
    int failedReads_ = 0;                                   ///< of the screen, in a row
    SourceGeometry geometry_;
    ShadowImage shadow_{0, 0};
    BlockRegion unread_;       ///< damaged, and not read since
    bool incomplete_ = false;  ///< as in Changes
    CursorOverlay cursor_;
};

}  // namespace lumicrate::x11
