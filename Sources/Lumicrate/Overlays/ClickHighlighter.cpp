#include "Lumicrate/Overlays/ClickHighlighter.h"

#include <algorithm>
#include <chrono>
#include <utility>

namespace lumicrate {

namespace {

using namespace std::chrono_literals;

/// About sixty a second.
constexpr auto frameInterval = 16ms;

Rect around(const Rect& a, const Rect& b) {
    const double left = std::min(a.minX(), b.minX());
    const double bottom = std::min(a.minY(), b.minY());
    return {left, bottom, std::max(a.maxX(), b.maxX()) - left, std::max(a.maxY(), b.maxY()) - bottom};
}

}  // namespace

ClickHighlighter::ClickHighlighter(Executor& executor, const NSScreens& screens, NSMouseMonitoring& mouse,
                                   OverlayContents& contents)
    : executor_(executor), screens_(screens), mouse_(mouse), contents_(contents) {}

ClickHighlighter::~ClickHighlighter() {
    hide();
}

void ClickHighlighter::show(NSScreen screen) {
    hide();
    screen_ = std::move(screen);
    NSPanel::Settings settings;
    settings.frame = {screen_.frame.minX(), screen_.frame.minY(), 1, 1};
    settings.level = NSPanel::screenSaverLevel;
    settings.ignoresMouseEvents = true;
    panel_ = contents_.clickRings(model_)->makePanel(std::move(settings));
    panel_->orderFrontRegardless();
    monitor_ = mouse_.addMouseDownMonitor([this](bool secondary) { flash(secondary); });
}

void ClickHighlighter::hide() {
    monitor_.reset();
    if (const auto timer = std::exchange(nextFrame_, std::nullopt)) executor_.cancel(*timer);
    flashes_ = {};
    panel_.reset();
    if (!model_.rings->empty()) model_.rings = std::vector<ClickRing>();
}

std::optional<std::uint32_t> ClickHighlighter::windowNumber() const {
    return panel_ ? std::optional(panel_->windowNumber()) : std::nullopt;
}

void ClickHighlighter::flash(bool secondary) {
    const Point at = screens_.mouseLocation();
    if (!panel_ || !screen_.frame.contains(at)) return;
    flashes_.add(at, secondary, executor_.now());
    // What has been raised meanwhile must not cover the ring.
    panel_->orderFrontRegardless();
    if (!nextFrame_) step();
}

void ClickHighlighter::step() {
    nextFrame_.reset();
    std::vector<ClickRing> rings = flashes_.ringsAt(executor_.now());
    placePanel(rings);
    const Rect frame = panel_->frame();
    for (ClickRing& each : rings)
        each.center = {each.center.x - frame.minX(), each.center.y - frame.minY()};
    const bool goesOn = !rings.empty();
    model_.rings = std::move(rings);
    if (goesOn) nextFrame_ = executor_.after(frameInterval, [this] { step(); });
}

/// Grows with the rings, and shrinks only when the last has gone: a panel that moves under a ring is seen.
void ClickHighlighter::placePanel(const std::vector<ClickRing>& rings) {
    std::optional<Rect> wanted;
    if (!model_.rings->empty() && !rings.empty()) wanted = panel_->frame();
    for (const ClickRing& each : rings) {
        const Rect extent = ClickFlashes::extentAround(each.center);
        wanted = wanted ? around(*wanted, extent) : extent;
    }
    const Rect speck{screen_.frame.minX(), screen_.frame.minY(), 1, 1};
    if (const Rect frame = wanted.value_or(speck); frame != panel_->frame()) panel_->setFrame(frame);
}

}  // namespace lumicrate
