// SPDX-License-Identifier: GPL-3.0-or-later
// LivePicture: the pixels of something that is captured, kept up to date. PictureSource turns them into
// samples.
#pragma once

#include "Linux/Pictures/BgraPicture.h"
#include "Linux/Pictures/BlockRegion.h"
#include "Linux/Pictures/CursorOverlay.h"
#include "Platform/ScreenCaptureKit.h"
#include "Support/Geometry.h"

#include <chrono>
#include <optional>
#include <vector>

namespace lumicrate::pictures {

/// Events (drawing, pointer, layout) only announce that an update is due; update() then fetches what changed.
/// One thread at a time. All operations throw PlatformError when the source is gone.
class LivePicture {
 public:
    using Time = std::chrono::nanoseconds;  ///< host clock

    /// What an update found, in pixels of the source.
    struct Changes {
        bool resized = false;  ///< the source has another size than before
        /// Not a valid picture yet: parts of it have not been read since the source was located.
        bool incomplete = false;
        BlockRegion blocks;             ///< where pixels changed
        std::vector<PixelRect> cursor;  ///< the cursor's old and new place, if it changed
    };

    virtual ~LivePicture() = default;

    /// Readable when there is something to process.
    virtual int fileDescriptor() const = 0;
    /// Applies source rectangle and cursor visibility with the next update.
    virtual void configure(const SCStreamConfiguration& configuration) = 0;
    /// Applies a filter of the same display and kind with the next update.
    virtual void setFilter(const SCContentFilter& filter) = 0;

    /// Handles all events that have arrived. Whether one of them makes an update due. Does not block.
    virtual bool processEvents() = 0;
    /// When an update is due without any further event; nothing for never.
    virtual std::optional<Time> nextUpdate() const = 0;
    /// Fetches what changed.
    virtual Changes update() = 0;

    /// As of the last update.
    virtual BgraPicture& picture() = 0;
    /// The cursor in source coordinates; an empty one when it is not shown.
    virtual const CursorOverlay& cursor() const = 0;
};

}  // namespace lumicrate::pictures
