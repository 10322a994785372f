// SPDX-License-Identifier: GPL-3.0-or-later
#include "Lumicrate/Overlays/CountdownController.h"

#include "Lumicrate/Shortcuts/Shortcut.h"
#include "Support/Log.h"
#include "Support/Text.h"

#include <chrono>
#include <utility>

namespace lumicrate {

namespace {

constexpr double side = 200;

std::string cancelHint(const NSUserDefaults& defaults) {
    const auto toggle = shortcut(ShortcutAction::toggle, defaults);
    const std::string keys = toggle ? toggle->display() : std::string();
    return keys.empty() ? keys : localized("{} to cancel", {keys});
}

Rect centered(const std::optional<NSScreen>& screen) {
    const Rect frame = screen ? screen->frame : Rect{};
    return {frame.midX() - side / 2, frame.midY() - side / 2, side, side};
}

}  // namespace

Task<bool> InWindowCountdown::run(int seconds) {
    const Completion<bool> result(executor_);
    result_ = result;
    ticking_ = RunningTask(executor_, tick(seconds));
    const bool reached = co_await result;
    co_return reached;
}

Task<void> InWindowCountdown::tick(int seconds) {
    for (int n = seconds; n > 0; --n) {
        value = n;
        co_await sleepFor(executor_, std::chrono::seconds(1));
    }
    finish(true);
}

void InWindowCountdown::finish(bool result) {
    ticking_.cancel();
    if (*value) value = std::nullopt;
    if (const auto waiting = std::exchange(result_, std::nullopt)) waiting->resolve(result);
}

CountdownController::CountdownController(Executor& executor, const NSScreens& screens,
                                         const NSUserDefaults& defaults, OverlayContents& contents,
                                         const DesktopAbilities& desktop)
    : screens_(screens),
      defaults_(defaults),
      contents_(contents),
      desktop_(desktop),
      counting_(executor),
      ticks_(counting_.value.observe([this](const std::optional<int>& number) {
          if (number && *number != *model_.value) model_.value = *number;
      })),
      screenChanges_(screens.observe([this] { place(); })) {}

Task<bool> CountdownController::run(int seconds, std::optional<NSScreen> screen) {
    finish(false);
    const RunScope scope(runs_, [this] { finish(false); });
    show(seconds, std::move(screen));
    Task<bool> counting = counting_.run(seconds);
    const bool reached = co_await counting;
    if (scope.isCurrent()) finish(reached);
    co_return reached;
}

void CountdownController::show(int seconds, std::optional<NSScreen> screen) {
    model_.value = seconds;
    model_.cancelHint = desktop_.grabsKeys ? cancelHint(defaults_) : std::string();
    screen_ = screenOrMain(std::move(screen), screens_);

    NSPanel::Settings settings;
    settings.frame = centered(screen_);
    settings.level = NSPanel::screenSaverLevel;
    settings.ignoresMouseEvents = true;
    panel_ = contents_.countdown(model_)->makePanel(std::move(settings));
    panel_->orderFrontRegardless();
    log(LogArea::recorder, "countdown of ", seconds, " s");
}

/// After the screens have changed.
void CountdownController::place() {
    if (!panel_) return;
    screen_ = screenOrMain(screen_ ? currentScreen(*screen_, screens_) : std::nullopt, screens_);
    panel_->setFrame(centered(screen_));
}

void CountdownController::finish(bool result) {
    if (!panel_) return;
    panel_.reset();
    log(LogArea::recorder, "countdown ", result ? "done" : "cancelled");
    counting_.finish(result);
}

}  // namespace lumicrate
