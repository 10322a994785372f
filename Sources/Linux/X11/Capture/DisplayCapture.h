// SPDX-License-Identifier: GPL-3.0-or-later
// DisplayCapture: a copy of the pixels of a display, of a part of it, or of a window, kept up to date.
//
// Events (drawing, pointer, layout) only tell that an update is due. update() then fetches what changed, from
// the screen as it is or, for a filter that names windows, from FilteredContent.
#pragma once

#include "Linux/Pictures/BlockRegion.h"
#include "Linux/Pictures/CursorOverlay.h"
#include "Linux/Pictures/LivePicture.h"
#include "Linux/Pictures/ShadowImage.h"
#include "Linux/X11/Capture/CaptureContent.h"
#include "Linux/X11/Capture/PointerWatch.h"
#include "Linux/X11/Capture/ScreenReader.h"
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
class DisplayCapture final : public pictures::LivePicture {
 public:
    /// Throws PlatformError when the display, or the single window, does not exist.
    DisplayCapture(const std::string& displayName, const SCContentFilter& filter,
                   const SCStreamConfiguration& configuration);

    int fileDescriptor() const override { return connection_.fileDescriptor(); }
    void configure(const SCStreamConfiguration& configuration) override;
    void setFilter(const SCContentFilter& filter) override;
    /// Also flushes requests.
    bool processEvents() override;
    std::optional<Time> nextUpdate() const override;
    Changes update() override;
    pictures::BgraPicture& picture() override { return shadow_.picture(); }
    const pictures::CursorOverlay& cursor() const override { return cursor_; }

 private:
    bool handleEvent(const xcb_generic_event_t& event);
    bool isSingleWindow() const { return kind_ == SCContentFilter::Kind::desktopIndependentWindow; }
    std::optional<SourceGeometry> windowGeometry() const;
    std::optional<SourceGeometry> locateSource() const;
    void awaitSource();
    bool refreshLayout(Changes& changes);
    void moveCursor(const pictures::CursorOverlay& cursor, Changes& changes);
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
    pictures::ShadowImage shadow_{0, 0};
    pictures::BlockRegion unread_;  ///< damaged, and not read since
    bool incomplete_ = false;       ///< as in Changes
    pictures::CursorOverlay cursor_;
};

}  // namespace lumicrate::x11
