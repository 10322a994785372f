// SPDX-License-Identifier: GPL-3.0-or-later
#include "Lumicrate/Shell/RecordingBadge.h"

#include <chrono>
#include <cmath>

namespace lumicrate {

namespace {

using State = ScreenRecorder::State;

constexpr double minute = 60;
/// Waking up late rather than early saves a second wake-up.
constexpr std::chrono::milliseconds lateness(20);
/// A bar of one per cent is not visible; every change is a message to all launchers.
constexpr double progressSteps = 50;

}  // namespace

RecordingBadge::RecordingBadge(Executor& executor, ScreenRecorder& recorder,
                               const Published<std::optional<double>>& mixing, NSDockTile& tile)
    : executor_(executor), recorder_(recorder), tile_(tile) {
    stateChanges_ = recorder_.state.observe([this](State next) {
        following_ = {};
        if (next == State::recording) {
            following_ = RunningTask(executor_, follow());
        } else if (next != State::paused) {
            show({});
        }
    });
    mixingChanges_ = mixing.observe([this](const std::optional<double>& progress) {
        if (recorder_.isActive()) return;
        show({std::nullopt, progress ? std::optional(std::round(*progress * progressSteps) / progressSteps)
                                     : std::nullopt});
    });
}

Task<void> RecordingBadge::follow() {
    // The new state takes effect after its announcement.
    co_await sleepFor(executor_, std::chrono::nanoseconds(0));
    while (true) {
        const double elapsed = recorder_.elapsedNow();
        const double begun = std::floor(elapsed / minute) + 1;
        show({static_cast<int>(begun), std::nullopt});
        const std::chrono::duration<double> rest(begun * minute - elapsed);
        co_await sleepFor(executor_, std::chrono::duration_cast<std::chrono::nanoseconds>(rest) + lateness);
    }
}

void RecordingBadge::show(const DockTileBadge& badge) {
    if (badge == shown_) return;
    shown_ = badge;
    tile_.setBadge(badge);
}

}  // namespace lumicrate
