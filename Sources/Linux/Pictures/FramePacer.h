// SPDX-License-Identifier: GPL-3.0-or-later
// FramePacer: when the next frame may be captured.
#pragma once

#include <algorithm>
#include <chrono>

namespace lumicrate::pictures {

/// Keeps frames one interval apart on average. A frame may be a tenth of an interval early if the frames
/// before it were not early too. So content with exactly this rate loses no frame to the jitter of programs
/// and timers, and one late frame does not delay the following ones.
///
/// Example with an interval of 100 ms, times in ms:
///
///     delivered(1000)   next slot 1100, due() 1090
///     delivered(1090)   early: next slot 1200 (1100 + 100), due() 1190
///     delivered(1195)   next slot 1300, due() 1290
///     delivered(1340)   late: next slot 1440, due() 1430; the missed time earns no extra frames
///     checked(2000)     nothing new: due() 2025, a quarter of an interval later
///
/// Times are of any one monotonic clock.
class FramePacer {
 public:
    using Time = std::chrono::nanoseconds;

    explicit FramePacer(Time interval) { setInterval(interval); }

    void setInterval(Time interval) {
        // A shorter one would only keep the processor busy.
        constexpr Time minInterval = std::chrono::milliseconds(1);
        const Time before = interval_;
        interval_ = std::max(interval, minInterval);
        if (before > Time::zero()) slot_ += interval_ - before;
    }
    Time interval() const { return interval_; }

    /// The earliest time for the next update of the picture; in the past before the first one.
    Time due() const { return std::max(slot_ - interval_ / 10, nextCheck_); }
    /// An update found nothing to deliver. Updates have a cost, so they too keep a distance, a shorter one.
    void checked(Time now) { nextCheck_ = now + interval_ / 4; }
    /// A frame was captured at that time.
    void delivered(Time now) { slot_ = std::max(slot_, now) + interval_; }

 private:
    Time interval_{};
    Time slot_ = Time::min() / 2;  ///< of the next frame, when none is early or late
    Time nextCheck_ = Time::min() / 2;
};

}  // namespace lumicrate::pictures
