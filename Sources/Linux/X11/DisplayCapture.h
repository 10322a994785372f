// DisplayCapture: follows what is to be seen on one display, or a part of it.
//
// It gathers all that can change the picture (drawing, the pointer, the monitors' layout) and keeps a copy of
// the pixels. Events only say that it is time to look; a look fetches what changed.
#pragma once

#include "Linux/X11/BlockRegion.h"
#include "Linux/X11/Connection.h"
#include "Linux/X11/CursorOverlay.h"
#include "Linux/X11/DamageTracker.h"
#include "Linux/X11/LayoutWatch.h"
#include "Linux/X11/PointerWatch.h"
#include "Linux/X11/ScreenReader.h"
#include "Linux/X11/ShadowImage.h"
#include "Linux/X11/SourceGeometry.h"
#include "Platform/ScreenCaptureKit.h"

#include <chrono>
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
        /// When it is to be looked again without any event: nothing, if it need not.
        std::optional<std::chrono::nanoseconds> lookAgainIn;
        BlockRegion blocks;             ///< where pixels changed
        std::vector<PixelRect> cursor;  ///< where the cursor was and where it is, if that changed
    };

    /// `filter` shows a whole display.
    DisplayCapture(const std::string& displayName, const SCContentFilter& filter,
                   const SCStreamConfiguration& configuration);

    /// Readable when the server has something to say.
    int fileDescriptor() const { return connection_.fileDescriptor(); }
    /// Takes over source rectangle and cursor; they show with the next look.
    void configure(const SCStreamConfiguration& configuration);

    /// Sends what is waiting to be sent, and takes in all events that have come. Whether one of them is a
    /// reason to look. Does not block.
    bool takeEvents();
    /// Fetches what changed.
    Changes look();

    /// As of the last look.
    BgraPicture& picture() { return shadow_.picture(); }
    /// The cursor in the picture; nothing when it is not to be shown.
    const CursorOverlay& cursor() const { return cursor_; }

 private:
    std::optional<SourceGeometry> presentGeometry() const;
    void awaitDisplay(Changes& changes);
    bool refreshLayout(Changes& changes);
    PixelRect toSource(const PixelRect& onRoot) const;
    void moveCursor(const CursorOverlay& cursor, Changes& changes);
    void readPixels(Changes& changes);

    Connection connection_;
    std::uint32_t displayId_;
    double scale_;
    std::optional<Rect> sourceRect_;
    LayoutWatch layout_;
    DamageTracker damage_;
    std::optional<PointerWatch> pointer_;
    ScreenReader reader_;

    bool layoutStale_ = true;
    /// Since when the display has been missing.
    std::optional<std::chrono::nanoseconds> awaySince_;
    int refusals_ = 0;  ///< reads that failed in a row
    SourceGeometry geometry_;
    ShadowImage shadow_{0, 0};
    BlockRegion unread_;  ///< damaged, and not yet read since
    CursorOverlay cursor_;
};

}  // namespace lumicrate::x11
