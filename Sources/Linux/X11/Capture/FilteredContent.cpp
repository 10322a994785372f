#include "Linux/X11/Capture/FilteredContent.h"

#include "Linux/X11/Windows/TopLevel.h"
#include "Support/MediaTime.h"

#include <algorithm>
#include <utility>

namespace lumicrate::x11 {

namespace {

/// A compositing manager paints a window's shadow around it, and the window itself somewhat later than it
/// moves or goes. Without one, programs may leave unpainted for a while what a window uncovers.
constexpr int shadowMargin = 32;
constexpr std::chrono::milliseconds afterglow(1000);
/// Two pictures of a slow monitor.
constexpr std::chrono::milliseconds paintingTime(50);

PixelRect widened(const PixelRect& rect, int margin) {
    return {rect.x - margin, rect.y - margin, rect.width + 2 * margin, rect.height + 2 * margin};
}

}  // namespace

FilteredContent::FilteredContent(const Connection& connection, const SCContentFilter& filter)
    : connection_(connection), compositor_(connection), stack_(connection), layers_(connection) {
    rule_.kind = filter.kind;
    for (const SCWindow& window : filter.windows) {
        windows_.push_back(window.windowID);
        // Window managers put applications' windows into others, and take them out again.
        const std::uint32_t events = XCB_EVENT_MASK_STRUCTURE_NOTIFY;
        xcb_change_window_attributes(connection.get(), window.windowID, XCB_CW_EVENT_MASK, &events);
    }
    resolveTargets();
    stack_.learn();
}

void FilteredContent::resolveTargets() {
    targetsStale_ = false;
    rule_.named.clear();
    for (const xcb_window_t window : windows_)
        rule_.named.push_back(topLevelOf(connection_, window));
}

bool FilteredContent::hears(const xcb_generic_event_t& event) {
    bool reason = layers_.hears(event) && !awaitPainting();
    const bool otherCompositor = compositor_.hears(event);
    if (otherCompositor) {
        for (const StackedWindow& window : stack_.stack().windows())
            linger(window);
    }
    if (otherCompositor || (background_ && background_->hears(event))) {
        background_.reset();
        touched_.addAll();
        reason = true;
    }
    if (hearsTarget(event)) {
        targetsStale_ = true;
        reason = true;
    }
    if (const auto change = stack_.hear(event, HostClock::now())) reason = note(*change) || reason;
    return reason;
}

/// A compositing manager takes some time to paint what a window draws, and looking meanwhile would show the
/// put-together parts ahead of the others. Its painting is the reason to look, but it may have none where
/// nothing of the window is to be seen.
bool FilteredContent::awaitPainting() {
    if (!rule_.excludes() || !compositor_.active()) return false;
    if (!paintedBy_) paintedBy_ = HostClock::now() + paintingTime;
    return true;
}

/// Whether one of the filter's windows is in another one now, or gone.
bool FilteredContent::hearsTarget(const xcb_generic_event_t& event) {
    const auto isTarget = [this](xcb_window_t window) {
        return std::find(windows_.begin(), windows_.end(), window) != windows_.end();
    };
    switch (event.response_type & 0x7f) {
        case XCB_REPARENT_NOTIFY:
            return isTarget(reinterpret_cast<const xcb_reparent_notify_event_t&>(event).window);
        case XCB_DESTROY_NOTIFY: {
            const auto window = reinterpret_cast<const xcb_destroy_notify_event_t&>(event).window;
            if (!isTarget(window)) return false;
            // The number may become another window's.
            std::replace(windows_.begin(), windows_.end(), window, xcb_window_t{XCB_NONE});
            return true;
        }
        default:
            return false;
    }
}

/// Whether the change may be one of the picture.
bool FilteredContent::note(const StackChange& change) {
    const bool named = rule_.names(change.before.id);
    if (!named && (!rule_.excludes() || composed_.isEmpty())) return false;
    linger(change.before);
    linger(change.after);
    for (const StackedWindow* const each : {&change.before, &change.after})
        if (each->hasPixels()) touched_.add(toSource(each->frame));
    return true;
}

std::vector<PixelRect> FilteredContent::excludedArea(const StackedWindow& window) const {
    std::vector<PixelRect> area = window.occupied();
    if (!rule_.excludes() || !rule_.names(window.id)) area.clear();
    for (PixelRect& rect : area)
        rect = widened(rect, compositor_.active() ? shadowMargin : 0);
    return area;
}

void FilteredContent::linger(const StackedWindow& window) {
    for (const PixelRect& rect : excludedArea(window))
        lingering_.add(rect, HostClock::now() + afterglow);
}

std::optional<PixelRect> FilteredContent::recordedFrame() const {
    if (rule_.excludes() || rule_.named.empty()) return std::nullopt;
    const StackedWindow* const recorded = stack_.stack().find(rule_.named.front());
    if (recorded == nullptr || !recorded->hasPixels() || recorded->frame.isEmpty()) return std::nullopt;
    return recorded->frame;
}

PixelRect FilteredContent::toSource(const PixelRect& onRoot) const {
    return onRoot.offsetBy(-geometry_.region.x, -geometry_.region.y);
}

BlockRegion FilteredContent::blocksOf(const std::vector<PixelRect>& onRoot) const {
    BlockRegion blocks(geometry_.region.width, geometry_.region.height);
    for (const PixelRect& rect : onRoot)
        blocks.add(toSource(rect.intersection(geometry_.readable)));
    return blocks;
}

/// As of all events so far.
BlockRegion FilteredContent::composedBlocks() const {
    if (!rule_.excludes()) return blocksOf({geometry_.readable});
    std::vector<PixelRect> area = lingering_.rectangles();
    for (const StackedWindow& window : stack_.stack().windows()) {
        const std::vector<PixelRect> excluded = excludedArea(window);
        area.insert(area.end(), excluded.begin(), excluded.end());
    }
    return blocksOf(area);
}

void FilteredContent::prepare(const SourceGeometry& geometry, BlockRegion& unread) {
    now_ = HostClock::now();
    if (targetsStale_) resolveTargets();
    stack_.learn();
    lingering_.expire(now_);
    if (geometry != geometry_) {
        geometry_ = geometry;
        composed_ = blocksOf({});
        touched_ = composed_;
    }
    const BlockRegion before = std::exchange(composed_, composedBlocks());
    BlockRegion begun = composed_;
    begun.remove(before);
    BlockRegion ended = before;
    ended.remove(composed_);
    unread.add(begun);
    unread.add(ended);

    touched_.add(blocksOf(layers_.keep(neededLayers(), stack_.stack(), now_)));
    touched_.keepOnly(composed_);
    unread.add(touched_);
    touched_.clear();
    hold();
    if (composed_.isEmpty()) background_.reset();
    if (composed_.isEmpty() || (canvas_ && canvas_->extent() != geometry_.readable)) canvas_.reset();
}

/// A window recorded by itself that has just come back shows as a whole, and so does what is around it.
void FilteredContent::hold() {
    held_ = blocksOf(layers_.untrusted(now_));
    held_.keepOnly(composed_);
    const auto recorded = recordedFrame();
    if (!recorded || held_.isEmpty()) return;
    BlockRegion trusted = blocksOf({*recorded});
    trusted.remove(held_);
    if (trusted.isEmpty()) held_ = composed_;
}

/// Windows that are recorded by themselves keep their layers while they are not to be seen, so that they are
/// complete as soon as they are.
std::vector<StackedWindow> FilteredContent::neededLayers() const {
    std::vector<StackedWindow> needed;
    if (!rule_.excludes()) {
        for (const StackedWindow& window : stack_.stack().windows())
            if (rule_.names(window.id)) needed.push_back(window);
        return needed;
    }
    for (const PixelRect& rect : rectanglesOnRoot(composed_, geometry_)) {
        for (const StackedWindow& window : rule_.layersAt(rect, stack_.stack()))
            if (std::find(needed.begin(), needed.end(), window) == needed.end()) needed.push_back(window);
    }
    return needed;
}

void FilteredContent::requestDamage() {
    paintedBy_.reset();
    layers_.requestDamage();
}

void FilteredContent::takeDamage(BlockRegion ofScreen, BlockRegion& unread) {
    // What is put together does not depend on what is to be seen on the screen there.
    ofScreen.remove(composed_);
    unread.add(ofScreen);
    BlockRegion ofWindows = blocksOf(layers_.collectDamage());
    ofWindows.keepOnly(composed_);
    unread.add(ofWindows);
}

std::vector<PixelRead> FilteredContent::plan(const BlockRegion& unread) {
    planned_.clear();
    std::vector<PixelRead> reads;
    BlockRegion direct = unread;
    direct.remove(composed_);
    for (const PixelRect& rect : rectanglesOnRoot(direct, geometry_)) {
        planned_.push_back({rect, false, {}});
        reads.push_back({rect, connection_.root(), 0, 0});
    }
    if (standsStill()) return reads;
    BlockRegion composed = unread;
    composed.keepOnly(composed_);
    composed.remove(held_);
    for (const PixelRect& rect : rectanglesOnRoot(composed, geometry_)) {
        planned_.push_back({rect, true, rule_.layersAt(rect, stack_.stack())});
        reads.push_back(planComposed(rect, planned_.back().layers));
    }
    return reads;
}

PixelRead FilteredContent::planComposed(const PixelRect& rect, const std::vector<StackedWindow>& layers) {
    if (isWindowsOwn(rect, layers)) {
        const StackedWindow& window = layers.front();
        return {rect, layers_.find(window.id)->pixmap(), window.frame.x, window.frame.y};
    }
    if (!canvas_) canvas_.emplace(connection_, layers_.formats(), geometry_.readable);
    compose(rect, layers);
    return {rect, canvas_->pixmap(), canvas_->extent().x, canvas_->extent().y};
}

/// Whether one window's pixels are the picture there as they are. Translucent ones are over black, because
/// their colours have been multiplied by the opacity.
bool FilteredContent::isWindowsOwn(const PixelRect& rect, const std::vector<StackedWindow>& layers) const {
    if (layers.size() != 1) return false;
    const StackedWindow& window = layers.front();
    if (window.nature.shaped || window.frame.intersection(rect) != rect) return false;
    if (!window.nature.opaque && rule_.excludes()) return false;
    return layers_.find(window.id) != nullptr && layers_.formats().isOurs(window.nature.visual);
}

void FilteredContent::compose(const PixelRect& rect, const std::vector<StackedWindow>& layers) {
    if (!rule_.excludes()) {
        canvas_->blacken(rect);
    } else if (backgroundShows(rect, layers)) {
        if (!background_) background_.emplace(connection_, layers_.formats(), compositor_.active());
        canvas_->draw({.picture = background_->picture()}, rect);
    }
    for (const StackedWindow& window : layers) {
        // One without a layer is not to be seen in those parts of the rectangle that count.
        const WindowLayer* const layer = layers_.find(window.id);
        if (layer == nullptr) continue;
        canvas_->draw(layer->source(), rect.intersection(window.frame));
    }
}

std::vector<PixelRect> FilteredContent::usable(std::size_t read) const {
    const Planned& planned = planned_[read];
    // An excluded window may be in another one by now.
    if (targetsStale_) return {};
    BlockRegion blocks = blocksOf({planned.rect});
    if (planned.composed) {
        if (rule_.layersAt(planned.rect, stack_.stack()) != planned.layers) return {};
        blocks.keepOnly(composed_);
        blocks.remove(held_);
    } else {
        blocks.remove(composedBlocks());
    }
    std::vector<PixelRect> parts = blocks.rectangles();
    for (PixelRect& part : parts)
        part = part.offsetBy(geometry_.region.x, geometry_.region.y).intersection(planned.rect);
    return parts;
}

void FilteredContent::refuse(std::size_t read) {
    for (const StackedWindow& window : planned_[read].layers)
        layers_.renew(window.id);
}

std::optional<FilteredContent::Time> FilteredContent::nextLook() const {
    std::optional<Time> next;
    for (const auto& due :
         {lingering_.nextExpiry(), held_.isEmpty() ? std::nullopt : layers_.nextTrust(now_), paintedBy_})
        if (due) next = std::min(next.value_or(*due), *due);
    return next;
}

}  // namespace lumicrate::x11
