// SPDX-License-Identifier: GPL-3.0-or-later
#include "Lumicrate/Overlays/ControlBarModel.h"

#include "Support/Text.h"

#include <utility>

namespace lumicrate {

namespace {

/// The label, followed by the action's shortcut if there is one: "Pause (⌥⌘P)".
std::string withShortcut(const std::string& label, ShortcutAction action, const NSUserDefaults& defaults) {
    const auto bound = shortcut(action, defaults);
    const std::string keys = bound ? bound->display() : std::string();
    return keys.empty() ? label : label + " (" + keys + ")";
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
    next.canStop = next.canPause || state == State::starting;
}

void ControlBarModel::updateHelps(Content& next) const {
    next.microphoneHelp = localized(next.muted ? "Unmute microphone" : "Mute microphone");
    next.pauseHelp =
        withShortcut(localized(next.paused ? "Resume" : "Pause"), ShortcutAction::pause, defaults_);
    next.stopHelp = withShortcut(localized("Stop"), ShortcutAction::toggle, defaults_);
}

}  // namespace lumicrate
