// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/X11/Capture/FramePacer.h"

#include <algorithm>

namespace lumicrate::x11 {

void FramePacer::setInterval(Time interval) {
    // A shorter one would only keep the processor busy.
    constexpr Time minInterval = std::chrono::milliseconds(1);
    const Time before = interval_;
    interval_ = std::max(interval, minInterval);
    if (before > Time::zero()) slot_ += interval_ - before;
}

FramePacer::Time FramePacer::due() const {
    return std::max(slot_ - interval_ / 10, nextCheck_);
}

void FramePacer::checked(Time now) {
    nextCheck_ = now + interval_ / 4;
}

void FramePacer::delivered(Time now) {
    slot_ = std::max(slot_, now) + interval_;
}

}  // namespace lumicrate::x11
