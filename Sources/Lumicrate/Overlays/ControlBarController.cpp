// SPDX-License-Identifier: GPL-3.0-or-later
#include "Lumicrate/Overlays/ControlBarController.h"

#include "Lumicrate/Shortcuts/Shortcut.h"
#include "Support/Text.h"

#include <cmath>
#include <utility>

namespace lumicrate {

namespace {

/// Distance from the recorded area and from the edges of the screen.
constexpr double margin = 12;
constexpr double bottomMargin = margin + 4;

/// The label, followed by the action's shortcut if there is one: "Pause (⌥⌘P)".
std::string withShortcut(const std::string& label, ShortcutAction action, const NSUserDefaults& defaults) {
    const auto bound = shortcut(action, defaults);
    const std::string keys = bound ? bound->display() : std::string();
    return keys.empty() ? label : label + " (" + keys + ")";
}

double distance(const Rect& a, const Rect& b) {
    return std::hypot(a.x - b.x, a.y - b.y);
}

}  // namespace

ControlBarModel::ControlBarModel(ScreenRecorder& recorder, const NSUserDefaults& defaults)
    : recorder_(recorder), defaults_(defaults) {
    change([&](Content& now) {
        now.elapsed = formatElapsed(*recorder.elapsed);
        now.showsMicrophone = *recorder.recordsMicrophone;
        now.muted = *recorder.microphoneMuted;
        now.level = *recorder.microphoneLevel;
        applyState(now, *recorder.state);
        updateHelps(now);
    });
    subscriptions_.push_back(recorder.elapsed.observe(
        [this](double seconds) { change([&](Content& next) { next.elapsed = formatElapsed(seconds); }); }));
    subscriptions_.push_back(recorder.microphoneLevel.observe(
        [this](float level) { change([&](Content& next) { next.level = level; }); }));
    subscriptions_.push_back(recorder.microphoneMuted.observe([this](bool muted) {
        change([&](Content& next) {
            next.muted = muted;
            updateHelps(next);
        });
    }));
    subscriptions_.push_back(recorder.state.observe([this](ScreenRecorder::State state) {
        change([&](Content& next) {
            applyState(next, state);
            updateHelps(next);
        });
    }));
    subscriptions_.push_back(
        defaults.observe([this] { change([this](Content& next) { updateHelps(next); }); }));
}

void ControlBarModel::change(const std::function<void(Content&)>& edit) {
    Content next = *content;
    edit(next);
    if (next != *content) content = std::move(next);
}

void ControlBarModel::applyState(Content& next, ScreenRecorder::State state) const {
    using State = ScreenRecorder::State;
    next.paused = state == State::paused;
    next.canPause = next.canMute = state == State::recording || state == State::paused;
    next.showsCover = recorder_.offersCovers();
    next.canCover = next.paused;
    next.canStop = next.canPause || state == State::starting;
}

void ControlBarModel::updateHelps(Content& next) const {
    next.microphoneHelp = next.muted ? localized("Unmute microphone") : localized("Mute microphone");
    next.pauseHelp = withShortcut(next.paused ? localized("Resume") : localized("Pause"),
                                  ShortcutAction::pause, defaults_);
    next.coverHelp = next.canCover ? localized("Cover parts of the picture")
                                   : localized("Pause to cover parts of the picture");
    next.stopHelp = withShortcut(localized("Stop"), ShortcutAction::toggle, defaults_);
}

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
    return frame.shiftedInside(inner);
}

Rect keptOnScreens(const Rect& frame, const std::vector<NSScreen>& screens) {
    double visibleArea = 0;
    std::optional<Rect> nearest;
    for (const NSScreen& each : screens) {
        visibleArea += each.visibleFrame.intersection(frame).area();
        const Rect moved = frame.shiftedInside(each.visibleFrame);
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
        isDragged_ = true;
        moveTo(origin);
        // From now on this is the place that the bar returns to.
        origin_ = {panel_->frame().x, panel_->frame().y};
    };
    origin_ = {settings.frame.x, settings.frame.y};
    isDragged_ = false;
    panel_ = content->makePanel(std::move(settings));
    panel_->orderFrontRegardless();
}

void ControlBarController::place(std::optional<NSScreen> screen, std::optional<Rect> below) {
    if (!panel_) return;
    if (isDragged_) return moveTo(origin_);
    const auto shownOn = screenOrMain(std::move(screen), screens_);
    if (!shownOn) return;
    panel_->setFrame(controlBarFrame(panel_->frame().size(), shownOn->visibleFrame, below));
    origin_ = {panel_->frame().x, panel_->frame().y};
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
