// SPDX-License-Identifier: GPL-3.0-or-later
#include "Lumicrate/Shell/MenuBar.h"

#include "Support/Text.h"

#include <utility>

namespace lumicrate {

namespace {

using State = ScreenRecorder::State;

MenuBar::Icon iconFor(State state) {
    using Tint = MenuBar::Icon::Tint;
    switch (state) {
        case State::countingDown:
            return {"record.circle.fill", Tint::recording, localized("Lumicrate – Starting…")};
        case State::recording:
            return {"record.circle.fill", Tint::recording, localized("Lumicrate – Recording")};
        case State::paused:
            return {"record.circle.fill", Tint::paused, localized("Lumicrate – Paused")};
        case State::stopping:
            return {"record.circle", Tint::plain, localized("Lumicrate – Saving…")};
        case State::idle:
        case State::selectingArea:
        case State::starting:
            break;
    }
    return {"record.circle", Tint::plain, localized("Lumicrate")};
}

}  // namespace

MenuBar::MenuBar(ScreenRecorder& recorder, Replay& replay, const NSUserDefaults& defaults, Commands commands,
                 const DesktopAbilities& desktop)
    : icon(iconFor(*recorder.state)),
      recorder_(recorder),
      replay_(replay),
      defaults_(defaults),
      commands_(std::move(commands)),
      desktop_(desktop),
      stateChanges_(recorder.state.observe([this](State next) {
          const Icon changed = iconFor(next);
          if (!(changed == *icon)) icon = changed;
      })) {}

std::vector<MenuItem> MenuBar::items() const {
    std::vector<MenuItem> items;
    if (recorder_.isActive()) {
        items.push_back(MenuItem::command(statusText(), nullptr, false));
        items.push_back(MenuItem::line());
    }
    for (MenuItem& each : recordingItems())
        items.push_back(std::move(each));
    items.push_back(MenuItem::line());
    items.push_back(MenuItem::command(localized("Show Lumicrate"), commands_.showMain));
    items.push_back(MenuItem::command(localized("Open Recordings Folder"), commands_.openFolder));
    items.push_back(MenuItem::line());
    if (commands_.checkForUpdates)
        items.push_back(MenuItem::command(localized("Check for Updates…"), commands_.checkForUpdates));
    items.push_back(MenuItem::command(localized("About Lumicrate"), commands_.showAbout));
    items.push_back(MenuItem::command(localized("Quit Lumicrate"), commands_.quit));
    return items;
}

std::string MenuBar::statusText() const {
    const bool paused = *recorder_.state == State::paused;
    const std::string elapsed = formatElapsed(recorder_.elapsedNow());
    return paused ? localized("Paused {}", {elapsed}) : localized("Recording {}", {elapsed});
}

std::vector<MenuItem> MenuBar::recordingItems() const {
    ScreenRecorder& recorder = recorder_;
    const bool paused = *recorder.state == State::paused;
    MenuItem pause = bound(paused ? localized("Resume Recording") : localized("Pause Recording"),
                           ShortcutAction::pause, [&recorder] { recorder.togglePause(); });
    pause.enabled = recorder.isActive();
    MenuItem area = bound(localized("Record Area…"), ShortcutAction::area,
                          [&recorder] { recorder.record(CaptureMode::area); });
    area.enabled = *recorder.state == State::idle;
    std::vector<MenuItem> items{toggleItem(), std::move(pause), std::move(area)};
    if (*replay_.isOn) {
        const std::string seconds = std::to_string(replay_.seconds());
        items.push_back(bound(localized("Save the Last {} Seconds", {seconds}), ShortcutAction::replay,
                              [&replay = replay_] { replay.saveSoon(); }));
        items.push_back(MenuItem::command(localized("Record, Including the Last {} Seconds", {seconds}),
                                          [&replay = replay_] { replay.record(); }));
    }
    return items;
}

MenuItem MenuBar::toggleItem() const {
    const auto title = [this] {
        switch (*recorder_.state) {
            case State::recording:
            case State::paused:
            case State::stopping:
                return localized("Stop Recording");
            case State::countingDown:
                return localized("Cancel Countdown");
            case State::idle:
            case State::selectingArea:
            case State::starting:
                break;
        }
        return localized("Start Recording");
    };
    ScreenRecorder& recorder = recorder_;
    MenuItem item = bound(title(), ShortcutAction::toggle, [&recorder] { recorder.toggle(); });
    item.enabled = *recorder_.state != State::stopping && *recorder_.state != State::starting;
    return item;
}

MenuItem MenuBar::bound(std::string title, ShortcutAction action, std::function<void()> command) const {
    MenuItem item = MenuItem::command(std::move(title), std::move(command));
    if (desktop_.grabsKeys) item.shortcut = shortcut(action, defaults_);
    return item;
}

}  // namespace lumicrate
