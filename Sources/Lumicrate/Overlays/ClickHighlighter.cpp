// SPDX-License-Identifier: GPL-3.0-or-later
#include "Lumicrate/Overlays/ClickHighlighter.h"

#include "Support/Log.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace lumicrate {

namespace {

using namespace std::chrono_literals;

/// About 60 updates per second.
constexpr auto updateInterval = 16ms;

constexpr double diameter = 46;
constexpr double lineWidth = 3;
constexpr double startScale = 0.4;
constexpr double endScale = 1.25;
constexpr auto duration = 550ms;

/// One coordinate of a cubic Bézier curve whose points are 0, 0, `third` and 1.
double onCurve(double third, double t) {
    return 3 * (1 - t) * t * t * third + t * t * t;
}

/// Ease-out: starts fast and ends slowly. The Bézier curve (0, 0), (0, 0), (0.58, 1), (1, 1); both values 0
/// … 1. At half of the time 0.68 of the way has passed.
double easeOut(double progress) {
    double low = 0;
    double high = 1;
    for (int halving = 0; halving < 30; ++halving) {
        const double middle = (low + high) / 2;
        (onCurve(0.58, middle) < progress ? low : high) = middle;
    }
    return onCurve(1, high);
}

/// Everything that a ring around that point can cover while it spreads.
Rect ringBounds(Point center) {
    const double radius = std::ceil((diameter + lineWidth) * endScale / 2);
    return Rect{center.x - radius, center.y - radius, 2 * radius, 2 * radius}.integral();
}

Rect boundingUnion(const Rect& a, const Rect& b) {
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
    monitor_ = mouse_.addMouseDownMonitor([this](bool secondary) { clicked(secondary); });
    log(LogArea::recorder, "click highlights on");
}

void ClickHighlighter::hide() {
    monitor_.reset();
    if (const auto timer = std::exchange(nextUpdate_, std::nullopt)) executor_.cancel(*timer);
    clicks_.clear();
    panel_.reset();
    if (!model_.rings->empty()) model_.rings = std::vector<ClickRing>();
}

void ClickHighlighter::clicked(bool secondary) {
    const Point at = screens_.mouseLocation();
    if (!panel_ || !screen_.frame.contains(at)) return;
    clicks_.push_back({at, secondary, executor_.now()});
    // Other windows may have been raised above the panel.
    panel_->orderFrontRegardless();
    if (!nextUpdate_) update();
}

void ClickHighlighter::update() {
    nextUpdate_.reset();
    std::vector<ClickRing> rings = currentRings();
    resizePanel(rings);
    const Rect frame = panel_->frame();
    for (ClickRing& each : rings)
        each.center = {each.center.x - frame.minX(), each.center.y - frame.minY()};
    const bool isMoving = !rings.empty();
    model_.rings = std::move(rings);
    if (isMoving) nextUpdate_ = executor_.after(updateInterval, [this] { update(); });
}

std::vector<ClickRing> ClickHighlighter::currentRings() {
    const auto now = executor_.now();
    std::erase_if(clicks_, [now](const Click& each) { return now - each.time >= duration; });
    std::vector<ClickRing> rings;
    for (const auto& [at, secondary, time] : clicks_) {
        if (isMotionReduced_) {
            rings.push_back({at, diameter, lineWidth, 1, secondary});
            continue;
        }
        const double progress = easeOut(std::chrono::duration<double>(now - time) / duration);
        const double scale = std::lerp(startScale, endScale, progress);
        rings.push_back({at, diameter * scale, lineWidth * scale, 1 - progress, secondary});
    }
    return rings;
}

/// Grows with new rings, and shrinks only after the last one: moving the panel under a ring would be visible.
void ClickHighlighter::resizePanel(const std::vector<ClickRing>& rings) {
    std::optional<Rect> wanted;
    if (!model_.rings->empty() && !rings.empty()) wanted = panel_->frame();
    for (const ClickRing& each : rings) {
        const Rect extent = ringBounds(each.center);
        wanted = wanted ? boundingUnion(*wanted, extent) : extent;
    }
    const Rect point{screen_.frame.minX(), screen_.frame.minY(), 1, 1};
    if (const Rect frame = wanted.value_or(point); frame != panel_->frame()) panel_->setFrame(frame);
}

}  // namespace lumicrate
