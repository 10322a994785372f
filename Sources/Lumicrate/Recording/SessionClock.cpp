#include "Lumicrate/Recording/SessionClock.h"

namespace lumicrate {

void SessionClock::start(Instant now) {
    activeTimeBeforePause_ = {};
    segmentStart_ = now;
}

void SessionClock::pause(Instant now) {
    if (!segmentStart_) return;
    activeTimeBeforePause_ += now - *segmentStart_;
    segmentStart_.reset();
}

void SessionClock::resume(Instant now) {
    if (!segmentStart_) segmentStart_ = now;
}

double SessionClock::elapsed(Instant now) const {
    const auto running = segmentStart_ ? now - *segmentStart_ : std::chrono::nanoseconds::zero();
    return std::chrono::duration<double>(activeTimeBeforePause_ + running).count();
}

}  // namespace lumicrate
