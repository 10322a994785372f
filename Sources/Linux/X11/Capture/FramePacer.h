// FramePacer: when the next frame may be taken.
#pragma once

#include <chrono>

namespace lumicrate::x11 {

/// Keeps frames an interval apart on average. A frame may come a tenth of an interval early, as long as the
/// frames before it were not early too; so content that comes at just this rate, with the jitter of real
/// programs and timers, loses no frame, and lateness of one frame does not delay all that follow.
///
/// Times are of any one monotonic clock.
class FramePacer {
 public:
    using Time = std::chrono::nanoseconds;

    explicit FramePacer(Time interval) { setInterval(interval); }

    void setInterval(Time interval);
    Time interval() const { return interval_; }

    /// The earliest time for the next look at the screen; before the first one this lies in the past.
    Time due() const;
    /// A look found nothing to deliver. Looks cost something too, so they keep a distance, a shorter one.
    void looked(Time now);
    /// A frame was taken.
    void delivered(Time now);

 private:
    Time interval_{};
    Time slot_ = Time::min() / 2;
    Time nextLook_ = Time::min() / 2;
};

}  // namespace lumicrate::x11
