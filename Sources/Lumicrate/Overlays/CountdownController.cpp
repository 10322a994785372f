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
    return keys.empty() ? keys : keys + localized(" to cancel");
}

}  // namespace

CountdownController::CountdownController(Executor& executor, const NSScreens& screens,
                                         const NSUserDefaults& defaults, OverlayContents& contents)
    : executor_(executor), screens_(screens), defaults_(defaults), contents_(contents) {}

Task<bool> CountdownController::run(int seconds, std::optional<NSScreen> screen) {
    finish(false);
    const RunScope scope(runs_, [this] { finish(false); });
    const Completion<bool> result(executor_);
    result_ = result;
    begin(seconds, std::move(screen));
    const bool reached = co_await result;
    co_return reached;
}

void CountdownController::begin(int seconds, std::optional<NSScreen> screen) {
    model_.value = seconds;
    model_.cancelHint = cancelHint(defaults_);
    const auto shownOn = screenOrMain(std::move(screen), screens_);
    const Rect screenFrame = shownOn ? shownOn->frame : Rect{};

    NSPanel::Settings settings;
    settings.frame = {screenFrame.midX() - side / 2, screenFrame.midY() - side / 2, side, side};
    settings.level = NSPanel::screenSaverLevel;
    settings.ignoresMouseEvents = true;
    panel_ = contents_.countdown(model_)->makePanel(std::move(settings));
    panel_->orderFrontRegardless();
    log(LogArea::recorder, "countdown of ", seconds, " s");
    task_ = RunningTask(executor_, tick(seconds));
}

Task<void> CountdownController::tick(int seconds) {
    for (int n = seconds; n > 0; --n) {
        if (n != *model_.value) model_.value = n;
        co_await sleepFor(executor_, std::chrono::seconds(1));
    }
    finish(true);
}

void CountdownController::finish(bool result) {
    task_.cancel();
    panel_.reset();
    const auto waiting = std::exchange(result_, std::nullopt);
    if (!waiting) return;
    log(LogArea::recorder, "countdown ", result ? "done" : "cancelled");
    waiting->resolve(result);
}

}  // namespace lumicrate
