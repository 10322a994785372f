// DisplayCapture: follows what is to be seen on one display, or a part of it, or of windows.
//
// It gathers all that can change the picture (drawing, the pointer, the monitors' layout) and keeps a copy of
// the pixels. Events only say that it is time to look; a look fetches what changed.
#pragma once

#include "Linux/X11/Capture/CursorOverlay.h"
#include "Linux/X11/Capture/DamageTracker.h"
#include "Linux/X11/Capture/FilteredContent.h"
#include "Linux/X11/Capture/PointerWatch.h"
#include "Linux/X11/Capture/ScreenReader.h"
#include "Linux/X11/Capture/SourceGeometry.h"
#include "Linux/X11/Pixels/BlockRegion.h"
#include "Linux/X11/Pixels/ShadowImage.h"
#include "Linux/X11/Screens/LayoutWatch.h"
#include "Linux/X11/Server/Connection.h"
#include "Platform/ScreenCaptureKit.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace lumicrate::x11 {

/// One thread at a time. Everything throws PlatformError when the server or the display is gone.
class DisplayCapture {
 public:
    /// What a look found, in pixels of the source.
    struct Changes {
        bool resized = false;  ///< the source has another size than before
        /// Not yet a picture: some of it has not been read since it was laid out.
        bool incomplete = false;
        BlockRegion blocks;             ///< where pixels changed
        std::vector<PixelRect> cursor;  ///< where the cursor was and where it is, if that changed
    };

    /// Throws PlatformError when there is no such display or no such single window.
    DisplayCapture(const std::string& displayName, const SCContentFilter& filter,
                   const SCStreamConfiguration& configuration);

    /// Readable when the server has something to say.
    int fileDescriptor() const { return connection_.fileDescriptor(); }
    /// Takes over source rectangle and cursor; they show with the next look.
    void configure(const SCStreamConfiguration& configuration);

    /// Sends what is waiting to be sent, and takes in all events that have come. Whether one of them is a
    /// reason to look. Does not block.
    bool takeEvents();
    /// When it is to be looked without any further event, host clock: nothing, if it need not.
    std::optional<std::chrono::nanoseconds> nextLook() const;
    /// Fetches what changed.
    Changes look();

    /// As of the last look.
    BgraPicture& picture() { return shadow_.picture(); }
    /// The cursor in the picture; nothing when it is not to be shown.
    const CursorOverlay& cursor() const { return cursor_; }

 private:
    bool hear(const xcb_generic_event_t& event);
    void takeQueuedEvents();
    std::optional<SourceGeometry> presentGeometry() const;
    void awaitSource();
    bool refreshLayout(Changes& changes);
    PixelRect toSource(const PixelRect& onRoot) const;
    void moveCursor(const CursorOverlay& cursor, Changes& changes);
    void takeDamage();
    void readPixels(Changes& changes);
    std::vector<PixelRead> plan();
    void take(const PixelRect& part, const PixelRect& of, const BgraView& pixels, bool alone,
              Changes& changes);
    void scheduleNextLook(std::chrono::nanoseconds pause);

    Connection connection_;
    SCContentFilter::Kind kind_;
    std::uint32_t displayId_;
    double scale_;
    std::optional<Rect> sourceRect_;
    LayoutWatch layout_;
    std::optional<DamageTracker> damage_;  ///< of the screen; none where only windows count
    std::optional<PointerWatch> pointer_;
    ScreenReader reader_;
    std::optional<FilteredContent> content_;  ///< only for a filter that names windows

    bool heard_ = false;  ///< a reason to look, while looking
    bool layoutStale_ = true;
    std::optional<std::chrono::nanoseconds> lookAgainAt_;
    /// Since when the source has been missing.
    std::optional<std::chrono::nanoseconds> awaySince_;
    int refusals_ = 0;  ///< reads that failed in a row
    SourceGeometry geometry_;
    ShadowImage shadow_{0, 0};
    BlockRegion unread_;       ///< damaged, and not yet read since
    bool incomplete_ = false;  ///< as in Changes
    CursorOverlay cursor_;
};

}  // namespace lumicrate::x11
