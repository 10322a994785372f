// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/PipeWire/StallWatch.h"

#include <utility>

namespace lumicrate::pipewire {

namespace {

using namespace std::chrono_literals;

/// Short pauses are normal, for instance when a monitor changes its mode.
constexpr auto pauseTimeout = 2s;
/// After a sleep the compositor needs a moment for its monitors.
constexpr auto wakeUpTimeout = 1s;
constexpr auto restartTimeout = 3s;

}  // namespace

void StallWatch::setPausedSince(const std::optional<Time>& since) {
    if (hasSlept_) return;
    if (!since) {
        *this = {};
    } else if (!std::exchange(isSuspected_, true)) {
        due_ = *since + pauseTimeout;
    }
}

void StallWatch::noteWakeUp(Time now) {
    *this = {};
    isSuspected_ = hasSlept_ = true;
    due_ = now + wakeUpTimeout;
}

StallWatch::Action StallWatch::next(Time now) {
    if (!due_ || now < *due_) return Action::none;
    due_.reset();
    if (std::exchange(wasRestarted_, true)) return Action::report;
    due_ = now + restartTimeout;
    return Action::restart;
}

}  // namespace lumicrate::pipewire
