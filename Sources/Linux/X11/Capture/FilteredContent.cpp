// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/X11/Capture/FilteredContent.h"

#include "Linux/Pictures/WakeUp.h"
#include "Linux/X11/Windows/WindowOrder.h"
#include "Support/Log.h"
#include "Support/MediaTime.h"

#include <algorithm>
#include <utility>

namespace lumicrate::x11 {

namespace {

/// A compositing manager paints a shadow around a window.
constexpr int shadowMargin = 32;
/// A place counts as excluded for this long after the window has left it: a compositing manager removes the
/// window from the screen with a delay; without one, programs may take time to paint what was uncovered.
constexpr std::chrono::milliseconds exclusionTime(1000);
/// What a compositing manager needs to paint a window's drawing: two frames of a slow monitor.
constexpr std::chrono::milliseconds paintingTime(50);

PixelRect widened(const PixelRect& rect, int margin) {
    return {rect.x - margin, rect.y - margin, rect.width + 2 * margin, rect.height + 2 * margin};
}

}  // namespace

bool ContentRule::names(xcb_window_t window) const {
    return window != XCB_NONE && std::find(named.begin(), named.end(), window) != named.end();
}

std::vector<StackedWindow> ContentRule::layersAt(const PixelRect& rect, const WindowStack& stack) const {
    std::vector<const StackedWindow*> all;  // bottom to top
    const StackedWindow* const recorded = excludes() || named.empty() ? nullptr : stack.find(named.front());
    if (recorded != nullptr) all.push_back(recorded);
    for (const StackedWindow& each : stack.windows())
        if (names(each.id) != excludes() && &each != recorded) all.push_back(&each);

    std::vector<const StackedWindow*> shown;  // top to bottom
    for (auto each = all.rbegin(); each != all.rend(); ++each) {
        if (!(*each)->hasPixels() || (*each)->frame.intersection(rect).isEmpty()) continue;
        shown.push_back(*each);
        if ((*each)->hides(rect)) break;
    }
    std::vector<StackedWindow> layers;
    layers.reserve(shown.size());
    for (auto each = shown.rbegin(); each != shown.rend(); ++each)
        layers.push_back(**each);
    return layers;
}

bool backgroundShows(const PixelRect& rect, const std::vector<StackedWindow>& layers) {
    return layers.empty() || !layers.front().hides(rect);
}

FilteredContent::FilteredContent(const Connection& connection, const SCContentFilter& filter)
    : connection_(connection),
      atoms_(connection),
      compositor_(connection),
      stack_(connection),
      layers_(connection) {
    rule_.kind = filter.kind;
    if (rule_.excludes()) {
        screenDamage_.emplace(connection, connection.root());
        if (filter.excludedProcessID || filter.excludesWindow)
            excluded_.emplace(connection, filter.excludedProcessID, filter.excludesWindow);
    } else if (filter.includesWindow && !filter.windows.empty()) {
        related_.emplace(connection, filter.includesWindow, filter.windows.front().windowID,
                         filter.pointPixelScale);
    }
    setTargets(filter);
    resolveTargets();
    stack_.queryUnknown();
    if (!rule_.excludes() && !targets_.empty()) visible_.emplace(connection, targets_.front().window);
    locateWindows();
    log(LogArea::capture,
        rule_.excludes() ? "content: the screen without windows: " : "content: windows alone: ",
        targets_.size());
}

bool FilteredContent::setFilter(const SCContentFilter& filter) {
    const bool excludesMore = filter.excludedProcessID || filter.excludesWindow;
    if (filter.kind != rule_.kind || excludesMore != excluded_.has_value()) return false;
    setTargets(filter);
    invalidated_.addAll();
    return true;
}

void FilteredContent::setTargets(const SCContentFilter& filter) {
    excepted_ = filter.exceptingWindows;
    targets_.clear();
    targetsStale_ = true;
    for (const SCWindow& window : filter.windows)
        addTarget(window.windowID, false);
    if (excluded_) addExcluded();
}

void FilteredContent::addExcluded() {
    for (const xcb_window_t window : excluded_->windows())
        addTarget(window, true);
}

void FilteredContent::addTarget(xcb_window_t window, bool byRule) {
    if (std::ranges::find(targets_, window, &Target::window) != targets_.end() ||
        std::ranges::find(excepted_, window) != excepted_.end())
        return;
    targets_.push_back({window, XCB_NONE, true, byRule});
    targetsStale_ = true;
    // Window managers reparent applications' windows into frames and back. Properties describe the visible
    // part of a recorded one.
    const bool followsProperties = !rule_.excludes() || (excluded_ && excluded_->followsProperties());
    const std::uint32_t ofProperties = followsProperties ? XCB_EVENT_MASK_PROPERTY_CHANGE : 0;
    const std::uint32_t events = XCB_EVENT_MASK_STRUCTURE_NOTIFY | ofProperties;
    xcb_change_window_attributes(connection_.get(), window, XCB_CW_EVENT_MASK, &events);
}

void FilteredContent::resolveTargets() {
    targetsStale_ = false;
    std::vector<Target> left;
    for (Target& each : targets_) {
        if (!std::exchange(each.stale, false)) continue;
        const xcb_window_t before = each.topLevel;
        each.topLevel = rule_.excludes() ? frameOf(connection_, atoms_, each.window)
                                         : topLevelOf(connection_, each.window);
        if (rule_.excludes() && before != each.topLevel && before != each.window && before != XCB_NONE)
            left.push_back({before, before, false});
    }
    // A frame may be visible for a moment after its window has left it.
    targets_.insert(targets_.end(), left.begin(), left.end());
    nameWindows();
}

void FilteredContent::nameWindows() {
    rule_.named.clear();
    for (const Target& each : targets_)
        rule_.named.push_back(each.topLevel);
    if (!related_) return;
    const std::vector<xcb_window_t> related = related_->topLevels();
    rule_.named.insert(rule_.named.end(), related.begin(), related.end());
}

/// About windows that have appeared since the last update, and where they were meanwhile.
void FilteredContent::decideOwners() {
    std::vector<xcb_window_t> found;
    if (excluded_ && excluded_->hasUndecided()) {
        found = excluded_->resolve();
        const auto isShownNow = [this](const Target& each) {
            const xcb_window_t decided = each.content != XCB_NONE ? each.content : each.window;
            return each.byRule &&
                   std::ranges::find(excluded_->windows(), decided) == excluded_->windows().end();
        };
        if (std::erase_if(targets_, isShownNow) > 0) targetsStale_ = true;
        addExcluded();
    }
    excludeFrames(found);
    if (targetsStale_) {
        resolveTargets();
        invalidated_.addAll();
    }
    for (const auto& [window, rect] : std::exchange(undecidedAreas_, {})) {
        const bool isFound = std::ranges::find(found, window) != found.end() &&
                             std::ranges::find(excepted_, window) == excepted_.end();
        if (isFound || rule_.names(window)) recentlyExcluded_.add(rect, now_ + exclusionTime);
    }
}

/// Adds the frames of windows that were found to be excluded. One may show the pixels of a window that was
/// destroyed in it before it was known as a frame.
void FilteredContent::excludeFrames(std::vector<xcb_window_t>& found) {
    for (const auto& [frame, content, closed] : std::exchange(framings_, {})) {
        const auto target = std::ranges::find(targets_, content, &Target::window);
        const bool isKnown = std::ranges::find(targets_, frame, &Target::window) != targets_.end();
        const bool isExcluded =
            closed || target != targets_.end() || std::ranges::find(found, content) != found.end();
        // An application's window in which another one lies, as a tray icon does in a panel, is no frame.
        if (!isExcluded || PropertyQuery(connection_, frame, atoms_.wmState).collect().type() != XCB_NONE)
            continue;
        // Also one that is gone: a compositing manager may still show it.
        found.push_back(frame);
        if (isKnown) continue;
        const bool byRule = !closed && target != targets_.end() && target->byRule;
        addTarget(frame, byRule);
        targets_.back().content = byRule ? content : xcb_window_t{XCB_NONE};
    }
}

bool FilteredContent::handleEvent(const xcb_generic_event_t& event) {
    bool due = screenDamage_ && screenDamage_->handleEvent(event);
    if (layers_.handleEvent(event) && !waitForCompositor()) due = true;
    const bool compositorChanged = compositor_.handleEvent(event);
    if (compositorChanged) {
        log(LogArea::capture, "compositing manager ", compositor_.active() ? "started" : "ended");
        for (const StackedWindow& window : stack_.stack().windows())
            rememberExcludedArea(window);
    }
    if (compositorChanged || (background_ && background_->handleEvent(event))) {
        background_.reset();
        invalidated_.addAll();
        due = true;
    }
    if (excluded_ && excluded_->handleEvent(event)) due = true;
    if (related_ && event.response_type == XCB_REPARENT_NOTIFY) {
        related_->reconsider();
        due = true;
    }
    if (visible_ && visible_->handleEvent(event)) due = true;
    if (handleTargetEvent(event)) due = true;
    if (const auto change = stack_.handleEvent(event, HostClock::now())) due = applyChange(*change) || due;
    return due;
}

/// A compositing manager paints with a delay what a window draws. An update before that would show the
/// composed parts ahead of the others. Its painting makes the update due, or a timeout where the window is
/// not visible.
bool FilteredContent::waitForCompositor() {
    if (!rule_.excludes() || !compositor_.active()) return false;
    if (!paintedBy_) paintedBy_ = HostClock::now() + paintingTime;
    return true;
}

/// Whether a target was reparented or destroyed.
bool FilteredContent::handleTargetEvent(const xcb_generic_event_t& event) {
    const auto find = [this](xcb_window_t window) {
        return std::ranges::find(targets_, window, &Target::window);
    };
    switch (eventType(event)) {
        case XCB_REPARENT_NOTIFY: {
            const auto& reparent = eventAs<xcb_reparent_notify_event_t>(event);
            const auto target = find(reparent.window);
            const bool isUndecided = excluded_ && excluded_->isUndecided(reparent.window);
            if (rule_.excludes() && reparent.parent != connection_.root() &&
                (isUndecided || target != targets_.end()))
                framings_.push_back({reparent.parent, reparent.window});
            if (target == targets_.end()) return false;
            target->stale = true;
            targetsStale_ = true;
            return true;
        }
        case XCB_DESTROY_NOTIFY: {
            const xcb_window_t window = eventAs<xcb_destroy_notify_event_t>(event).window;
            handleContentDestroyed(window);
            const auto target = find(window);
            if (target == targets_.end()) return false;
            handleTargetDestroyed(*target);
            return true;
        }
        default:
            return false;
    }
}

/// Its frame is visible until the window manager destroys it.
void FilteredContent::handleContentDestroyed(xcb_window_t window) {
    for (Framing& each : framings_)
        each.closed = each.closed || each.content == window;
    for (Target& each : targets_)
        if (each.content == window) each = {each.window, each.topLevel, each.stale};
}

/// The id may be reused for another window.
void FilteredContent::handleTargetDestroyed(Target& target) {
    const xcb_window_t frame = target.topLevel;
    if (!rule_.excludes()) {
        target = {XCB_NONE, XCB_NONE, false};
    } else if (frame != target.window && frame != XCB_NONE) {
        // It is visible until the window manager destroys it.
        target = {frame, frame, false};
    } else {
        targets_.erase(targets_.begin() + (&target - targets_.data()));
    }
    targetsStale_ = true;
}

/// Whether the change may affect the picture.
bool FilteredContent::applyChange(const StackChange& change) {
    const bool named = rule_.names(change.after.id);
    const bool appeared = related_ && related_->handleChange(change);
    rememberExcludedArea(change.before);
    rememberExcludedArea(change.after);
    if (!named && (!rule_.excludes() || composed_.isEmpty())) return appeared;
    for (const StackedWindow* const each : {&change.before, &change.after})
        if (each->hasPixels()) invalidated_.add(geometry_.toSource(each->frame));
    return true;
}

bool FilteredContent::isExcluded(xcb_window_t window) const {
    return rule_.excludes() && (rule_.names(window) || (excluded_ && excluded_->isUndecided(window)));
}

/// With the shadow that a compositing manager paints.
std::vector<PixelRect> FilteredContent::areaOf(const StackedWindow& window) const {
    std::vector<PixelRect> area = window.occupied();
    for (PixelRect& rect : area)
        rect = widened(rect, compositor_.active() ? shadowMargin : 0);
    return area;
}

void FilteredContent::rememberExcludedArea(const StackedWindow& window) {
    const bool named = rule_.names(window.id);
    if (!rule_.excludes() || !(isExcluded(window.id) || isUnclear())) return;
    for (const PixelRect& rect : areaOf(window)) {
        if (named)
            recentlyExcluded_.add(rect, HostClock::now() + exclusionTime);
        else
            undecidedAreas_.push_back({window.id, rect});
    }
}

void FilteredContent::locateWindows() {
    if (!visible_) return;
    if (targetsStale_) resolveTargets();
    stack_.queryUnknown();
    if (const StackedWindow* const recorded = recordedWindow()) visible_->update(*recorded);
}

/// Null while it is not viewable.
const StackedWindow* FilteredContent::recordedWindow() const {
    if (!visible_) return nullptr;
    const StackedWindow* const recorded = stack_.stack().find(rule_.named.front());
    const bool viewable = recorded != nullptr && recorded->hasPixels() && !recorded->frame.isEmpty();
    return viewable ? recorded : nullptr;
}

std::optional<PixelRect> FilteredContent::recordedFrame() const {
    const StackedWindow* const recorded = recordedWindow();
    return recorded != nullptr ? std::optional(visible_->frameIn(*recorded)) : std::nullopt;
}

/// As of all events handled so far.
pictures::BlockRegion FilteredContent::composedBlocks() const {
    if (!rule_.excludes()) return geometry_.blocksIn({geometry_.readable});
    std::vector<PixelRect> area = recentlyExcluded_.rectangles();
    for (const UndecidedArea& each : undecidedAreas_)
        area.push_back(each.rect);
    for (const StackedWindow& window : stack_.stack().windows()) {
        if (!window.viewable || !isExcluded(window.id)) continue;
        const std::vector<PixelRect> excluded = areaOf(window);
        area.insert(area.end(), excluded.begin(), excluded.end());
    }
    return geometry_.blocksIn(area);
}

void FilteredContent::prepare(const SourceGeometry& geometry, pictures::BlockRegion& unread) {
    now_ = HostClock::now();
    decideOwners();
    stack_.queryUnknown();
    recentlyExcluded_.expire(now_);
    if (geometry != geometry_) {
        geometry_ = geometry;
        composed_ = geometry_.blocksIn({});
        invalidated_ = composed_;
    }
    if (related_) {
        for (const PixelRect& frame : related_->update(stack_.stack()))
            invalidated_.add(geometry_.toSource(frame));
        nameWindows();
    }
    const pictures::BlockRegion before = std::exchange(composed_, composedBlocks());
    pictures::BlockRegion begun = composed_;
    begun.remove(before);
    pictures::BlockRegion ended = before;
    ended.remove(composed_);
    unread.add(begun);
    unread.add(ended);

    invalidated_.add(geometry_.blocksIn(layers_.update(neededLayers(), stack_.stack(), now_)));
    invalidated_.keepOnly(composed_);
    unread.add(invalidated_);
    invalidated_.clear();
    updateHeldBack();
    if (composed_.isEmpty()) background_.reset();
    if (composed_.isEmpty() || (canvas_ && canvas_->extent() != geometry_.readable)) canvas_.reset();
}

/// A window recorded alone that has just been mapped again appears as a whole, and its surroundings with it.
void FilteredContent::updateHeldBack() {
    heldBack_ = geometry_.blocksIn(layers_.unreliable(now_));
    heldBack_.keepOnly(composed_);
    const auto recorded = recordedFrame();
    if (!recorded || heldBack_.isEmpty()) return;
    pictures::BlockRegion reliable = geometry_.blocksIn({*recorded});
    reliable.remove(heldBack_);
    if (reliable.isEmpty()) heldBack_ = composed_;
}

/// Windows recorded alone keep their layers while they are unmapped, so that they are complete at once when
/// they are mapped.
std::vector<StackedWindow> FilteredContent::neededLayers() const {
    std::vector<StackedWindow> needed;
    if (!rule_.excludes()) {
        for (const StackedWindow& window : stack_.stack().windows())
            if (rule_.names(window.id)) needed.push_back(window);
        return needed;
    }
    for (const PixelRect& rect : geometry_.rectanglesOnRoot(composed_)) {
        for (const StackedWindow& window : rule_.layersAt(rect, stack_.stack()))
            if (std::find(needed.begin(), needed.end(), window) == needed.end()) needed.push_back(window);
    }
    return needed;
}

void FilteredContent::requestDamage() {
    paintedBy_.reset();
    if (screenDamage_) screenDamage_->request();
    layers_.requestDamage();
}

void FilteredContent::collectDamage(pictures::BlockRegion& unread) {
    if (screenDamage_) {
        // Composed blocks do not depend on what the screen shows there.
        pictures::BlockRegion ofScreen = geometry_.blocksIn(screenDamage_->collect());
        ofScreen.remove(composed_);
        unread.add(ofScreen);
    }
    pictures::BlockRegion ofWindows = geometry_.blocksIn(layers_.collectDamage());
    ofWindows.keepOnly(composed_);
    unread.add(ofWindows);
    // What has just been painted may be the last part that was waited for; no later event would show it.
    if (!heldBack_.isEmpty()) updateHeldBack();
}

std::vector<PixelRead> FilteredContent::plan(const pictures::BlockRegion& unread) {
    planned_.clear();
    std::vector<PixelRead> reads;
    pictures::BlockRegion direct = unread;
    direct.remove(composed_);
    for (const PixelRect& rect : geometry_.rectanglesOnRoot(direct)) {
        planned_.push_back({rect, false, {}});
        reads.push_back({rect, connection_.root(), 0, 0});
    }
    if (isFrozen()) return reads;
    pictures::BlockRegion composed = unread;
    composed.keepOnly(composed_);
    composed.remove(heldBack_);
    for (const PixelRect& rect : geometry_.rectanglesOnRoot(composed)) {
        planned_.push_back({rect, true, rule_.layersAt(rect, stack_.stack())});
        reads.push_back(planComposed(rect, planned_.back().layers));
    }
    return reads;
}

PixelRead FilteredContent::planComposed(const PixelRect& rect, const std::vector<StackedWindow>& layers) {
    if (isSinglePixmap(rect, layers)) {
        const StackedWindow& window = layers.front();
        return {rect, layers_.find(window.id)->pixmap(), window.frame.x, window.frame.y};
    }
    if (!canvas_) canvas_.emplace(connection_, layers_.formats(), geometry_.readable);
    compose(rect, layers);
    return {rect, canvas_->pixmap(), canvas_->extent().x, canvas_->extent().y};
}

/// Whether one window's pixmap is the picture there as it is. A translucent one shows the window over black,
/// since its colours are premultiplied.
bool FilteredContent::isSinglePixmap(const PixelRect& rect, const std::vector<StackedWindow>& layers) const {
    if (layers.size() != 1) return false;
    const StackedWindow& window = layers.front();
    if (window.attributes.shaped || window.frame.intersection(rect) != rect) return false;
    if (!window.attributes.opaque && rule_.excludes()) return false;
    return layers_.find(window.id) != nullptr && layers_.formats().isBgr32(window.attributes.visual);
}

void FilteredContent::compose(const PixelRect& rect, const std::vector<StackedWindow>& layers) {
    if (!rule_.excludes()) {
        canvas_->blacken(rect);
    } else if (backgroundShows(rect, layers)) {
        if (!background_) background_.emplace(connection_, layers_.formats(), compositor_.active());
        canvas_->draw({.picture = background_->picture()}, rect);
    }
    for (const StackedWindow& window : layers) {
        // A window without a layer is not visible in the parts that will be used.
        const WindowLayer* const layer = layers_.find(window.id);
        if (layer == nullptr) continue;
        canvas_->draw(layer->source(), rect.intersection(window.frame));
    }
}

/// Whether the layers that were read still are what to show. Windows recorded alone may have moved meanwhile,
/// since one that is dragged quickly has moved after nearly every read: their own pixels moved along, and
/// overlays lie where they were before.
bool FilteredContent::areCurrent(const PlannedRead& planned) const {
    if (rule_.excludes()) return rule_.layersAt(planned.rect, stack_.stack()) == planned.layers;
    return std::ranges::all_of(planned.layers, [this](StackedWindow layer) {
        const StackedWindow* const now = stack_.stack().find(layer.id);
        if (now == nullptr) return false;
        layer.frame.x = now->frame.x;
        layer.frame.y = now->frame.y;
        return layer == *now;
    });
}

std::vector<PixelRect> FilteredContent::usableParts(std::size_t read) const {
    const PlannedRead& planned = planned_[read];
    // An excluded window may have been reparented into another top-level window.
    if (isUnclear()) return {};
    pictures::BlockRegion blocks = geometry_.blocksIn({planned.rect});
    if (planned.composed) {
        if (!areCurrent(planned)) return {};
        blocks.keepOnly(composed_);
        blocks.remove(heldBack_);
    } else {
        blocks.remove(composedBlocks());
    }
    std::vector<PixelRect> parts = blocks.rectangles();
    for (PixelRect& part : parts)
        part = part.offsetBy(geometry_.region.x, geometry_.region.y).intersection(planned.rect);
    return parts;
}

void FilteredContent::windowReadFailed(std::size_t read) {
    for (const StackedWindow& window : planned_[read].layers)
        layers_.renewPixmap(window.id);
}

std::optional<FilteredContent::Time> FilteredContent::nextUpdate() const {
    return pictures::earliest({recentlyExcluded_.nextExpiry(),
                               heldBack_.isEmpty() ? std::nullopt : layers_.nextReliable(now_), paintedBy_});
}

}  // namespace lumicrate::x11
