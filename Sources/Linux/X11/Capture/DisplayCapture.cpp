#include "Linux/X11/Capture/DisplayCapture.h"

#include "Linux/X11/Screens/Monitors.h"
#include "Support/MediaTime.h"

#include <algorithm>
#include <utility>

namespace lumicrate::x11 {

namespace {

/// A layout may change again while it is being read, but not for ever.
constexpr int mostRefusals = 10;
constexpr std::chrono::milliseconds patience(1000);
/// How soon to ask again for a window's pixels.
constexpr std::chrono::milliseconds refusalPause(20);

[[noreturn]] void throwSourceGone(SCContentFilter::Kind kind) {
    if (kind == SCContentFilter::Kind::desktopIndependentWindow)
        throw PlatformError(localized("The window is no longer available."));
    throw PlatformError(localized("The display is no longer available."));
}

bool needsContent(const SCContentFilter& filter) {
    return filter.kind != SCContentFilter::Kind::displayExcludingWindows || !filter.windows.empty();
}

}  // namespace

DisplayCapture::DisplayCapture(const std::string& displayName, const SCContentFilter& filter,
                               const SCStreamConfiguration& configuration)
    : connection_(displayName),
      kind_(filter.kind),
      displayId_(filter.display.displayID),
      scale_(filter.pointPixelScale),
      layout_(connection_),
      reader_(connection_) {
    if (needsContent(filter)) content_.emplace(connection_, filter);
    if (kind_ == SCContentFilter::Kind::displayExcludingWindows)
        damage_.emplace(connection_, connection_.root());
    configure(configuration);
    // What cannot be captured is to be known now, not with the first look.
    Changes changes;
    refreshLayout(changes);
    if (layoutStale_) throwSourceGone(kind_);
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
    bool reason = std::exchange(heard_, false);
    while (const Reply<xcb_generic_event_t> event{xcb_poll_for_event(connection_.get())})
        reason = hear(*event) || reason;
    connection_.throwIfLost();
    // Hearing the pointer can leave a request behind.
    connection_.flush();
    return reason;
}

/// Those that came along with replies. Does not ask the system for more.
void DisplayCapture::takeQueuedEvents() {
    while (const Reply<xcb_generic_event_t> event{xcb_poll_for_queued_event(connection_.get())})
        heard_ = hear(*event) || heard_;
}

bool DisplayCapture::hear(const xcb_generic_event_t& event) {
    bool reason = damage_ && damage_->hears(event);
    if (layout_.hears(event)) {
        layoutStale_ = true;
        reason = true;
    }
    if (pointer_ && pointer_->hears(event)) reason = true;
    if (content_ && content_->hears(event)) {
        if (kind_ == SCContentFilter::Kind::desktopIndependentWindow && presentGeometry() != geometry_)
            layoutStale_ = true;
        reason = true;
    }
    return reason;
}

std::optional<std::chrono::nanoseconds> DisplayCapture::nextLook() const {
    const auto ofContent = content_ ? content_->nextLook() : std::nullopt;
    if (!lookAgainAt_ || !ofContent) return lookAgainAt_ ? lookAgainAt_ : ofContent;
    return std::min(*lookAgainAt_, *ofContent);
}

DisplayCapture::Changes DisplayCapture::look() {
    Changes changes;
    lookAgainAt_.reset();
    const bool relaid = layoutStale_ && refreshLayout(changes);
    changes.blocks = BlockRegion(geometry_.region.width, geometry_.region.height);
    changes.incomplete = incomplete_;
    if (layoutStale_) return changes;
    if (relaid) shadow_.blackenOutside(toSource(geometry_.readable), changes.blocks);

    if (content_) content_->prepare(geometry_, unread_);
    if (damage_) damage_->request();
    if (pointer_) pointer_->request();
    if (content_) content_->requestDamage();
    takeDamage();
    const auto cursor = pointer_ ? pointer_->collect() : std::nullopt;
    moveCursor(cursor ? cursor->offsetBy(-geometry_.region.x, -geometry_.region.y) : CursorOverlay(),
               changes);
    readPixels(changes);
    changes.incomplete = incomplete_;
    return changes;
}

/// Nothing when the source is not there.
std::optional<SourceGeometry> DisplayCapture::presentGeometry() const {
    if (kind_ == SCContentFilter::Kind::desktopIndependentWindow) {
        const auto frame = content_->recordedFrame();
        if (!frame) return std::nullopt;
        return sourceGeometry(*frame, *frame, sourceRect_, scale_);
    }
    const auto monitor = findMonitor(connection_, displayId_);
    if (!monitor) return std::nullopt;
    return sourceGeometry(monitor->frame, rootExtent(connection_), sourceRect_, scale_);
}

/// Follows the layout; whether anything is somewhere else now. The layout stays stale while the display is
/// missing: one that gets another mode goes and comes back.
bool DisplayCapture::refreshLayout(Changes& changes) {
    const auto now = presentGeometry();
    if (!now) {
        awaitSource();
        return false;
    }
    awaySince_.reset();
    layoutStale_ = false;
    if (content_) content_->forgetBackground();
    const bool moved = *now != geometry_;
    const int width = now->region.width;
    const int height = now->region.height;
    changes.resized = width != geometry_.region.width || height != geometry_.region.height;
    geometry_ = *now;
    if (changes.resized) {
        shadow_ = ShadowImage(width, height);
        unread_ = BlockRegion(width, height);
        cursor_ = {};
    }
    // A server that changes its layout may also have begun with fresh pixels, without telling of damage.
    unread_.add(toSource(geometry_.readable));
    incomplete_ = incomplete_ || moved;
    return moved;
}

/// Gives a missing display some time to come back before it counts as gone. A window may be away for as long
/// as it likes.
void DisplayCapture::awaitSource() {
    const auto now = HostClock::now();
    const bool begun = geometry_ != SourceGeometry();
    if (begun && kind_ == SCContentFilter::Kind::desktopIndependentWindow) {
        layoutStale_ = false;
        return;
    }
    if (!awaySince_) awaySince_ = now;
    lookAgainAt_ = *awaySince_ + patience;
    if (now >= *lookAgainAt_) throwSourceGone(kind_);
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

void DisplayCapture::takeDamage() {
    BlockRegion damaged(geometry_.region.width, geometry_.region.height);
    const auto rects = damage_ ? damage_->collect() : std::vector<PixelRect>();
    for (const PixelRect& rect : rects)
        damaged.add(toSource(rect.intersection(geometry_.readable)));
    if (content_) {
        content_->takeDamage(std::move(damaged), unread_);
    } else {
        unread_.add(damaged);
    }
}

std::vector<PixelRead> DisplayCapture::plan() {
    if (content_) return content_->plan(unread_);
    std::vector<PixelRead> reads;
    for (const PixelRect& rect : rectanglesOnRoot(unread_, geometry_))
        reads.push_back({rect, connection_.root(), 0, 0});
    return reads;
}

/// Reads what is damaged.
void DisplayCapture::readPixels(Changes& changes) {
    const std::vector<PixelRead> reads = plan();
    const auto pictures = reader_.read(reads);
    // What had happened before the pixels were read has been told before they came.
    if (content_) takeQueuedEvents();
    BlockRegion taken(geometry_.region.width, geometry_.region.height);
    bool screenRefused = false;
    bool windowRefused = false;
    for (std::size_t i = 0; i < reads.size(); ++i) {
        if (!pictures[i]) {
            const bool ofScreen = reads[i].drawable == connection_.root();
            (ofScreen ? screenRefused : windowRefused) = true;
            if (!ofScreen) content_->refuse(i);
            continue;
        }
        const PixelRect& rect = reads[i].rect;
        for (const PixelRect& part : content_ ? content_->usable(i) : std::vector<PixelRect>{rect}) {
            taken.add(toSource(part));
            take(part, rect, *pictures[i], reads.size() == 1, changes);
        }
    }
    unread_.remove(taken);
    if (screenRefused) {
        // The layout is another one by now.
        if (++refusals_ > mostRefusals) Connection::throwRefused();
        layoutStale_ = true;
    } else {
        refusals_ = 0;
    }
    scheduleNextLook(windowRefused ? refusalPause : std::chrono::milliseconds::zero());
}

/// What could not be taken now is tried again after that pause, unless it is held back for longer.
void DisplayCapture::scheduleNextLook(std::chrono::nanoseconds pause) {
    const bool standsStill = content_ && content_->standsStill();
    if (standsStill || unread_.isEmpty()) incomplete_ = false;
    BlockRegion missed = standsStill ? BlockRegion() : unread_;
    if (content_ && !standsStill) missed.remove(content_->held());
    if (!missed.isEmpty()) lookAgainAt_ = HostClock::now() + pause;
}

/// `alone`: nothing else was read along with it.
void DisplayCapture::take(const PixelRect& part, const PixelRect& of, const BgraView& pixels, bool alone,
                          Changes& changes) {
    const PixelRect place = toSource(part);
    if (alone && place == shadow_.picture().bounds()) {
        shadow_.replace(reader_.keepFirst(place.width, place.height), changes.blocks);
        return;
    }
    const BgraView view{pixels.row(part.y - of.y) + (part.x - of.x), part.width, part.height, pixels.stride};
    shadow_.merge(place.x, place.y, view, changes.blocks);
}

}  // namespace lumicrate::x11
