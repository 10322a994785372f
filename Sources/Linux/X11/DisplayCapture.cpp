#include "Linux/X11/DisplayCapture.h"

#include "Linux/X11/Monitors.h"
#include "Support/MediaTime.h"

namespace lumicrate::x11 {

namespace {

/// More rectangles than this cost more in requests than they save in pixels.
constexpr std::size_t mostReads = 16;
/// A layout may change again while it is being read, but not for ever.
constexpr int mostRefusals = 10;
constexpr std::chrono::milliseconds patience(1000);

[[noreturn]] void throwDisplayGone() {
    throw PlatformError(localized("The display is no longer available."));
}

}  // namespace

DisplayCapture::DisplayCapture(const std::string& displayName, const SCContentFilter& filter,
                               const SCStreamConfiguration& configuration)
    : connection_(displayName),
      displayId_(filter.display.displayID),
      scale_(filter.pointPixelScale),
      layout_(connection_),
      damage_(connection_),
      reader_(connection_) {
    configure(configuration);
    // What cannot be captured is to be known now, not with the first look.
    Changes changes;
    refreshLayout(changes);
    if (layoutStale_) throwDisplayGone();
}

void DisplayCapture::configure(const SCStreamConfiguration& configuration) {
    if (configuration.sourceRect != sourceRect_) {
        sourceRect_ = configuration.sourceRect;
        layoutStale_ = true;
    }
    if (configuration.showsCursor && !pointer_) pointer_.emplace(connection_);
    if (!configuration.showsCursor) pointer_.reset();
}

bool DisplayCapture::takeEvents() {
    connection_.flush();
    bool reason = false;
    while (const Reply<xcb_generic_event_t> event{xcb_poll_for_event(connection_.get())}) {
        if (layout_.hears(*event)) {
            layoutStale_ = true;
            reason = true;
        }
        if (damage_.hears(*event)) reason = true;
        if (pointer_ && pointer_->hears(*event)) reason = true;
    }
    connection_.throwIfLost();
    // Hearing the pointer can leave a request behind.
    connection_.flush();
    return reason;
}

DisplayCapture::Changes DisplayCapture::look() {
    Changes changes;
    const bool relaid = layoutStale_ && refreshLayout(changes);
    changes.blocks = BlockRegion(geometry_.region.width, geometry_.region.height);
    if (layoutStale_) return changes;
    if (relaid) shadow_.blackenOutside(toSource(geometry_.readable), changes.blocks);

    damage_.request();
    if (pointer_) pointer_->request();
    for (const PixelRect& rect : damage_.collect())
        unread_.add(toSource(rect.intersection(geometry_.readable)));
    const auto cursor = pointer_ ? pointer_->collect() : std::nullopt;
    moveCursor(cursor ? cursor->offsetBy(-geometry_.region.x, -geometry_.region.y) : CursorOverlay(),
               changes);
    readPixels(changes);
    return changes;
}

/// Nothing when the display is not there.
std::optional<SourceGeometry> DisplayCapture::presentGeometry() const {
    const auto monitor = findMonitor(connection_, displayId_);
    if (!monitor) return std::nullopt;
    return sourceGeometry(monitor->frame, rootExtent(connection_), sourceRect_, scale_);
}

/// Follows the layout; whether anything is somewhere else now. The layout stays stale while the display is
/// missing: one that gets another mode goes and comes back.
bool DisplayCapture::refreshLayout(Changes& changes) {
    const auto now = presentGeometry();
    if (!now) {
        awaitDisplay(changes);
        return false;
    }
    awaySince_.reset();
    layoutStale_ = false;
    // A server that changes its layout may also have begun with fresh pixels, without telling of damage.
    unread_.addAll();
    if (*now == geometry_) return false;
    const int width = now->region.width;
    const int height = now->region.height;
    changes.resized = width != geometry_.region.width || height != geometry_.region.height;
    geometry_ = *now;
    if (changes.resized) {
        shadow_ = ShadowImage(width, height);
        unread_ = BlockRegion(width, height);
        unread_.addAll();
        cursor_ = {};
    }
    return true;
}

/// Gives a missing display some time to come back before it counts as gone.
void DisplayCapture::awaitDisplay(Changes& changes) {
    const auto now = HostClock::now();
    if (!awaySince_) awaySince_ = now;
    const auto left = *awaySince_ + patience - now;
    if (left <= left.zero()) throwDisplayGone();
    changes.lookAgainIn = left;
}

PixelRect DisplayCapture::toSource(const PixelRect& onRoot) const {
    return onRoot.offsetBy(-geometry_.region.x, -geometry_.region.y);
}

void DisplayCapture::moveCursor(const CursorOverlay& cursor, Changes& changes) {
    if (cursor == cursor_) return;
    const PixelRect bounds = shadow_.picture().bounds();
    for (const CursorOverlay& each : {cursor_, cursor}) {
        const PixelRect covered = each.frame().intersection(bounds);
        if (!covered.isEmpty()) changes.cursor.push_back(covered);
    }
    cursor_ = cursor;
}

/// Reads what is damaged. When the server refuses, the layout is another one by now.
void DisplayCapture::readPixels(Changes& changes) {
    const PixelRect origin = geometry_.region;
    std::vector<PixelRect> wanted;
    for (const PixelRect& rect : unread_.rectangles(mostReads)) {
        const PixelRect onRoot = rect.offsetBy(origin.x, origin.y).intersection(geometry_.readable);
        if (!onRoot.isEmpty()) wanted.push_back(onRoot);
    }
    const bool complete = reader_.read(wanted, [&](const PixelRect& rect, const BgraView& pixels) {
        shadow_.merge(rect.x - origin.x, rect.y - origin.y, pixels, changes.blocks);
    });
    if (complete) {
        refusals_ = 0;
        unread_.clear();
        return;
    }
    if (++refusals_ > mostRefusals) Connection::throwRefused();
    layoutStale_ = true;
    changes.lookAgainIn = std::chrono::nanoseconds::zero();
}

}  // namespace lumicrate::x11
