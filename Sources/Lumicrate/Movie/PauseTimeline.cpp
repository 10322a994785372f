// SPDX-License-Identifier: GPL-3.0-or-later
#include "Lumicrate/Movie/PauseTimeline.h"

namespace lumicrate {

void PauseTimeline::pause(CMTime at) {
    if (!pausedAt_) pausedAt_ = at;
}

void PauseTimeline::resume(CMTime at) {
    if (!pausedAt_) return;
    pauses_.push_back({*pausedAt_, at});
    pausedAt_.reset();
}

std::optional<CMTime> PauseTimeline::offset(CMTime time) const {
    if (pausedAt_ && time >= *pausedAt_) return std::nullopt;
    CMTime sum = CMTime::zero();
    for (const Pause& pause : pauses_) {
        if (time >= pause.end) {
            sum = sum + (pause.end - pause.start);
        } else if (time >= pause.start) {
            return std::nullopt;
        }
    }
    return sum;
}

}  // namespace lumicrate
