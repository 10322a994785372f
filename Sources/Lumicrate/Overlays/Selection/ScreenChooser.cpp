// SPDX-License-Identifier: GPL-3.0-or-later
#include "Lumicrate/Overlays/Selection/ScreenChooser.h"

#include "Support/Log.h"
#include "Support/Text.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <utility>

namespace lumicrate {

namespace {

constexpr std::int64_t escapeKey = 53;

/// 1 … 9: by the character, which is all that is known of a number pad's keys, or else by the key code,
/// because some keyboards need Shift for digits.
std::optional<int> digit(const NSEvent& event) {
    constexpr std::array<std::int64_t, 9> digitKeys{18, 19, 20, 21, 23, 22, 26, 28, 25};
    constexpr std::uint64_t commandKeys = NSEvent::commandFlag | NSEvent::optionFlag | NSEvent::controlFlag;
    if ((event.modifierFlags & commandKeys) != 0) return std::nullopt;
    const std::string& typed = event.charactersIgnoringModifiers;
    if (typed.size() == 1 && typed[0] >= '1' && typed[0] <= '9') return typed[0] - '0';
    const auto found = std::ranges::find(digitKeys, event.keyCode);
    if (found == digitKeys.end()) return std::nullopt;
    return static_cast<int>(std::distance(digitKeys.begin(), found)) + 1;
}

}  // namespace

ScreenChooser::ScreenChooser(Executor& executor, const NSScreens& screens, SCScreenshotManager& pictures,
                             NSKeyMonitoring& keys, OverlayContents& contents)
    : executor_(executor),
      screens_(screens),
      pictures_(pictures),
      keys_(keys),
      contents_(contents),
      screenChanges_(screens.observe([this] { screensChanged(); })) {}

Task<std::optional<std::uint32_t>> ScreenChooser::choose() {
    finish(std::nullopt);
    close();
    const RunScope scope(runs_, [this] { close(); });
    const Completion<std::optional<std::uint32_t>> result(executor_);
    result_ = result;
    begin();
    const std::optional<std::uint32_t> chosen = co_await result;
    co_return chosen;
}

/// `before` are the hidden panels of the same choice, which may still be visible on new pictures.
void ScreenChooser::begin(std::vector<std::unique_ptr<Screen>> before) {
    for (const NSScreen& each : screens_.screens()) {
        if (!each.displayID) continue;
        shown_.push_back(describe(each, static_cast<int>(shown_.size()) + 1));
        const auto same = std::ranges::find_if(before, [&](const auto& known) {
            return known->displayID == *each.displayID && known->frame.size() == each.frame.size();
        });
        if (same != before.end()) shown_.back()->model.backdrop = std::move((*same)->model.backdrop);
    }
    log(LogArea::ui, "screen choice among ", shown_.size());
    if (shown_.empty()) return finish(std::nullopt);
    // After all pictures have been taken, so that no panel is on any of them.
    for (const auto& each : shown_)
        show(*each);
    const auto underPointer = std::ranges::find_if(
        shown_, [at = screens_.mouseLocation()](const auto& each) { return each->frame.contains(at); });
    (underPointer == shown_.end() ? shown_.front() : *underPointer)->panel->makeKeyAndOrderFront();
    keyMonitor_ = keys_.addKeyDownMonitor([this](const NSEvent& event) { return keyDown(event); });
}

/// Covers the present screens instead of the former ones.
void ScreenChooser::screensChanged() {
    if (!result_) return;
    keyMonitor_.reset();
    auto before = std::exchange(shown_, {});
    for (const auto& each : before)
        each->panel.reset();
    begin(std::move(before));
}

std::unique_ptr<ScreenChooser::Screen> ScreenChooser::describe(const NSScreen& screen, int number) {
    const std::uint32_t displayID = *screen.displayID;
    auto described = std::make_unique<Screen>();
    described->displayID = displayID;
    described->frame = screen.frame;
    // A panel of a previous choice must not end this one.
    const auto ends = [this, run = runs_](std::optional<std::uint32_t> chosen) {
        return [this, run, chosen] {
            if (runs_ == run) finish(chosen);
        };
    };
    described->model = {number,
                        screen.localizedName,
                        formatPixels(screen.frame.size(), screen.backingScaleFactor),
                        pictures_.captureDisplay(displayID),
                        ends(displayID),
                        ends(std::nullopt)};
    return described;
}

void ScreenChooser::show(Screen& screen) {
    NSPanel::Settings settings;
    settings.frame = screen.frame;
    settings.level = NSPanel::screenSaverLevel;
    settings.canBecomeKey = true;
    screen.panel = contents_.screenChoice(screen.model)->makePanel(std::move(settings));
    screen.panel->orderFrontRegardless();
}

bool ScreenChooser::keyDown(const NSEvent& event) {
    if (event.keyCode == escapeKey) {
        finish(std::nullopt);
        return true;
    }
    const auto number = digit(event);
    if (!number || static_cast<std::size_t>(*number) > shown_.size()) return false;
    finish(shown_[static_cast<std::size_t>(*number) - 1]->displayID);
    return true;
}

/// Called from a panel's own event handlers, so the panels are destroyed later, with the waiting task.
void ScreenChooser::finish(std::optional<std::uint32_t> displayID) {
    keyMonitor_.reset();
    const auto waiting = std::exchange(result_, std::nullopt);
    if (!waiting) return;
    log(LogArea::ui, "screen choice: ", displayID ? "display " + std::to_string(*displayID) : "none");
    waiting->resolve(displayID);
}

void ScreenChooser::close() {
    keyMonitor_.reset();
    shown_.clear();
}

}  // namespace lumicrate
