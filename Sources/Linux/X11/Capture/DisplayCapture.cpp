// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/X11/Capture/DisplayCapture.h"

#include "Linux/Pictures/WakeUp.h"
#include "Linux/X11/Capture/FilteredContent.h"
#include "Support/Log.h"
#include "Support/MediaTime.h"

#include <algorithm>
#include <utility>

namespace lumicrate::x11 {

namespace {

/// The layout may change again while it is being read, but not endlessly.
constexpr int maxFailedReads = 10;
constexpr std::chrono::milliseconds missingSourceTimeout(5000);
/// How soon to request a window's pixels again.
constexpr std::chrono::milliseconds windowRetryDelay(20);

[[noreturn]] void throwSourceGone(SCContentFilter::Kind kind) {
    log(LogArea::capture, "source lost");
    if (kind == SCContentFilter::Kind::desktopIndependentWindow)
        throw PlatformError(localized("The window is no longer available."));
    throw PlatformError(localized("The display is no longer available."));
}

std::unique_ptr<CaptureContent> contentFor(const Connection& connection, const SCContentFilter& filter) {
    const bool excludesNone =
        filter.kind == SCContentFilter::Kind::displayExcludingWindows && filter.windows.empty();
    if (!excludesNone || filter.excludedProcessID || filter.excludesWindow) {
        try {
            return std::make_unique<FilteredContent>(connection, filter);
        } catch (const PlatformError& error) {
            // A server without Composite or Render can still be recorded while nothing has to be excluded.
            if (!excludesNone || filter.excludesWindow) throw;
            log(LogArea::capture, "content: windows that appear cannot be excluded: ", error.what());
        }
    }
    log(LogArea::capture, "content: the screen, unfiltered");
    return std::make_unique<ScreenContent>(connection);
}

}  // namespace

DisplayCapture::DisplayCapture(const std::string& displayName, const SCContentFilter& filter,
                               const SCStreamConfiguration& configuration)
    : connection_(displayName),
      kind_(filter.kind),
      displayId_(filter.display.displayID),
      scale_(filter.pointPixelScale),
      followsFirstWindow_(configuration.followsFirstWindow),
      layout_(connection_),
      content_(contentFor(connection_, filter)),
      reader_(connection_) {
    configure(configuration);
    // A missing source is an error now, not with the first update.
    Changes changes;
    refreshLayout(changes);
    if (layoutStale_) throwSourceGone(kind_);
}

void DisplayCapture::configure(const SCStreamConfiguration& configuration) {
    if (configuration.sourceRect != sourceRect_) {
        sourceRect_ = configuration.sourceRect;
        if (!(followsFirstWindow_ && wasOnWindow_)) layoutStale_ = true;
    }
    if (configuration.showsCursor && !pointer_) pointer_.emplace(connection_);
    if (!configuration.showsCursor) pointer_.reset();
}

void DisplayCapture::setFilter(const SCContentFilter& filter) {
    if (content_->setFilter(filter)) return;
    content_ = contentFor(connection_, filter);
    layoutStale_ = true;
}

bool DisplayCapture::processEvents() {
    connection_.flush();
    bool due = std::exchange(eventDuringUpdate_, false);
    connection_.processEvents([&](const xcb_generic_event_t& event) { due = handleEvent(event) || due; });
    // The pointer watch may have sent a request.
    connection_.flush();
    return due;
}

bool DisplayCapture::handleEvent(const xcb_generic_event_t& event) {
    bool due = false;
    if (layout_.handleEvent(event)) {
        layoutStale_ = true;
        due = true;
    }
    if (pointer_ && pointer_->handleEvent(event)) due = true;
    if (content_->handleEvent(event)) {
        due = true;
    }
    return due;
}

std::optional<std::chrono::nanoseconds> DisplayCapture::nextUpdate() const {
    return pictures::earliest({retryAt_, content_->nextUpdate()});
}

DisplayCapture::Changes DisplayCapture::update() {
    Changes changes;
    retryAt_.reset();
    content_->locateWindows();
    if (const auto now = windowGeometry(); now && now != geometry_) layoutStale_ = true;
    const bool moved = layoutStale_ && refreshLayout(changes);
    changes.blocks = pictures::BlockRegion(geometry_.region.width, geometry_.region.height);
    changes.incomplete = incomplete_;
    if (layoutStale_) return changes;
    if (moved) shadow_.blackenOutside(geometry_.toSource(geometry_.readable), changes.blocks);

    content_->prepare(geometry_, unread_);
    content_->requestDamage();
    if (pointer_) pointer_->request();
    content_->collectDamage(unread_);
    const auto cursor = pointer_ ? pointer_->collect() : std::nullopt;
    moveCursor(
        cursor ? cursor->offsetBy(-geometry_.region.x, -geometry_.region.y) : pictures::CursorOverlay(),
        changes);
    readPixels(changes);
    changes.incomplete = incomplete_;
    return changes;
}

/// Nothing when the source is not a window, or one that is not viewable.
std::optional<SourceGeometry> DisplayCapture::windowGeometry() const {
    if (!isSingleWindow() && !followsFirstWindow_) return std::nullopt;
    const auto frame = content_->recordedFrame();
    if (!frame) return std::nullopt;
    // A window's pixels exist also outside of the screen.
    return sourceGeometry(*frame, *frame, isSingleWindow() ? sourceRect_ : std::nullopt, scale_);
}

/// Nothing when the source is missing.
std::optional<SourceGeometry> DisplayCapture::locateSource() const {
    if (auto ofWindow = windowGeometry()) return ofWindow;
    if (isSingleWindow() || wasOnWindow_) return std::nullopt;
    const auto monitor = findMonitor(connection_, displayId_);
    if (!monitor) return std::nullopt;
    return sourceGeometry(monitor->frame, rootExtent(connection_), sourceRect_, scale_);
}

/// Locates the source again; whether its geometry changed. The layout stays stale while the display is
/// missing: a display that changes its mode disappears and comes back.
bool DisplayCapture::refreshLayout(Changes& changes) {
    const auto now = locateSource();
    if (!now) {
        awaitSource();
        return false;
    }
    missingSince_.reset();
    layoutStale_ = false;
    wasOnWindow_ = windowGeometry().has_value();
    content_->layoutChanged();
    const bool moved = *now != geometry_;
    const int width = now->region.width;
    const int height = now->region.height;
    changes.resized = width != geometry_.region.width || height != geometry_.region.height;
    geometry_ = *now;
    if (changes.resized) {
        log(LogArea::capture, "source size ", width, " × ", height, " pixels");
        shadow_ = pictures::ShadowImage(width, height);
        unread_ = pictures::BlockRegion(width, height);
        cursor_ = {};
    }
    // With a new layout the server may also have discarded all pixels without reporting damage.
    unread_.add(geometry_.toSource(geometry_.readable));
    incomplete_ = incomplete_ || moved;
    return moved;
}

/// A missing display counts as gone after a timeout. A window may be unmapped for any time.
void DisplayCapture::awaitSource() {
    const auto now = HostClock::now();
    if (wasOnWindow_) {
        layoutStale_ = false;
        return;
    }
    if (!missingSince_) missingSince_ = now;
    retryAt_ = *missingSince_ + missingSourceTimeout;
    if (now >= *retryAt_) throwSourceGone(kind_);
}

void DisplayCapture::moveCursor(const pictures::CursorOverlay& cursor, Changes& changes) {
    changes.cursor = pictures::placesOfChange(cursor_, cursor, shadow_.picture().bounds());
    cursor_ = cursor;
}

void DisplayCapture::readPixels(Changes& changes) {
    const std::vector<PixelRead> reads = content_->plan(unread_);
    const auto pictures = reader_.read(reads);
    // The server sends the events of all changes before the pixels that show them.
    connection_.processQueuedEvents([this](const xcb_generic_event_t& event) {
        eventDuringUpdate_ = handleEvent(event) || eventDuringUpdate_;
    });
    std::vector<PixelRect> done;
    bool screenFailed = false;
    bool windowFailed = false;
    for (std::size_t i = 0; i < reads.size(); ++i) {
        if (!pictures[i]) {
            const bool ofScreen = reads[i].drawable == connection_.root();
            (ofScreen ? screenFailed : windowFailed) = true;
            if (!ofScreen) content_->windowReadFailed(i);
            continue;
        }
        for (const PixelRect& part : content_->usableParts(i)) {
            done.push_back(part);
            const PixelRect place = geometry_.toSource(part);
            if (reads.size() == 1 && place == shadow_.picture().bounds()) {
                shadow_.replace(reader_.keepFirst(place.width, place.height), changes.blocks);
            } else {
                const std::uint32_t* const first =
                    pictures[i]->row(part.y - reads[i].rect.y) + (part.x - reads[i].rect.x);
                shadow_.merge(place.x, place.y, {first, part.width, part.height, pictures[i]->stride},
                              changes.blocks);
            }
        }
    }
    unread_.remove(geometry_.blocksIn(done));
    screenReadDone(screenFailed);
    scheduleRetry(windowFailed ? windowRetryDelay : std::chrono::milliseconds::zero());
}

/// The server refuses rectangles outside the root window: its size has changed.
void DisplayCapture::screenReadDone(bool failed) {
    failedReads_ = failed ? failedReads_ + 1 : 0;
    if (failedReads_ > maxFailedReads) Connection::throwRefused();
    if (failed) layoutStale_ = true;
}

/// Blocks that could not be read are tried again after the delay, unless they are held back for longer.
void DisplayCapture::scheduleRetry(std::chrono::nanoseconds delay) {
    const bool isFrozen = content_->isFrozen();
    if (isFrozen || unread_.isEmpty()) incomplete_ = false;
    if (isFrozen) return;
    pictures::BlockRegion missed = unread_;
    content_->removeHeldBack(missed);
    if (!missed.isEmpty()) retryAt_ = HostClock::now() + delay;
}

}  // namespace lumicrate::x11
