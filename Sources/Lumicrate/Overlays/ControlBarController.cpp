// SPDX-License-Identifier: GPL-3.0-or-later
#include "Lumicrate/Overlays/ControlBarController.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace lumicrate {

namespace {

/// Distance from the recorded area and from the edges of the screen.
constexpr double margin = 12;
constexpr double bottomMargin = margin + 4;

/// `low` wins if the range is empty.
double clamped(double value, double low, double high) {
    return std::max(low, std::min(value, high));
}

Rect clampedInto(const Rect& frame, const Rect& bounds) {
    return {clamped(frame.x, bounds.minX(), bounds.maxX() - frame.width),
            clamped(frame.y, bounds.minY(), bounds.maxY() - frame.height), frame.width, frame.height};
}

double distance(const Rect& a, const Rect& b) {
    return std::hypot(a.x - b.x, a.y - b.y);
}

}  // namespace

Rect controlBarFrame(const Size& bar, const Rect& visibleFrame, const std::optional<Rect>& area) {
    Rect frame{visibleFrame.midX() - bar.width / 2, visibleFrame.minY() + bottomMargin, bar.width,
               bar.height};
    if (const Rect visible = area ? area->intersection(visibleFrame) : Rect{}; !visible.isEmpty()) {
        frame.x = visible.midX() - bar.width / 2;
        frame.y = visible.minY() - bar.height - margin;
        if (frame.y < visibleFrame.minY() + margin) frame.y = visible.minY() + margin;
    }
    const Rect inner{visibleFrame.x + margin, visibleFrame.y + margin, visibleFrame.width - 2 * margin,
                     visibleFrame.height - 2 * margin};
    return clampedInto(frame, inner);
}

Rect keptOnScreens(const Rect& frame, const std::vector<NSScreen>& screens) {
    double visibleArea = 0;
    std::optional<Rect> nearest;
    for (const NSScreen& each : screens) {
        visibleArea += each.visibleFrame.intersection(frame).area();
        const Rect moved = clampedInto(frame, each.visibleFrame);
        if (!nearest || distance(moved, frame) < distance(*nearest, frame)) nearest = moved;
    }
    constexpr double rounding = 1e-6;
    return visibleArea >= frame.area() - rounding ? frame : nearest.value_or(frame);
}

void ControlBarController::setRecorder(ScreenRecorder* recorder) {
    hide();
    recorder_ = recorder;
}

void ControlBarController::show(std::optional<NSScreen> screen, std::optional<Rect> below) {
    if (panel_ || !recorder_) return;
    model_ = std::make_unique<ControlBarModel>(*recorder_, defaults_);
    const auto content = contents_.controlBar(*model_);
    const auto shownOn = screenOrMain(std::move(screen), screens_);

    NSPanel::Settings settings;
    settings.frame = controlBarFrame(content->fittingSize(), shownOn ? shownOn->visibleFrame : Rect{}, below);
    settings.hasShadow = true;
    settings.onDrag = [this](Point origin) {
        moveTo(origin);
        // From now on this is the place that the bar returns to.
        origin_ = {panel_->frame().x, panel_->frame().y};
    };
    origin_ = {settings.frame.x, settings.frame.y};
    panel_ = content->makePanel(std::move(settings));
    panel_->orderFrontRegardless();
}

void ControlBarController::hide() {
    panel_.reset();
    model_.reset();
}

void ControlBarController::moveBy(double dx, double dy) {
    if (panel_) moveTo({origin_.x + dx, origin_.y + dy});
}

void ControlBarController::moveTo(Point origin) {
    origin_ = origin;
    const Rect size = panel_->frame();
    const Rect kept = keptOnScreens({origin.x, origin.y, size.width, size.height}, screens_.screens());
    panel_->setFrameOrigin({kept.x, kept.y});
}

}  // namespace lumicrate
