// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/PipeWire/TimestampSmoother.h"

#include <algorithm>
#include <cmath>

namespace lumicrate::pipewire {

namespace {

/// A larger deviation of a report, in seconds, is not jitter.
constexpr double jump = 0.05;
/// A report can be late but not early. One that comes earlier than expected by more than `lateBeginning`
/// within the time `beginning` therefore shows that the first report was late, as it is when the
/// server makes its cycles longer for a new stream. Both in seconds.
constexpr double beginning = 0.25;
constexpr double lateBeginning = 0.005;
/// The loop's natural frequency in radians per second. Critically damped, it filters the jitter of a busy
/// machine, and a sudden drift causes an error of at most drift ⁄ (e · frequency): 0.4 ms for 500 parts per
/// million.
constexpr double frequency = 0.5;
/// Clocks of real devices deviate less than this.
constexpr double maxDrift = 0.002;
/// How fast timestamps may approach the reports, in seconds per second.
constexpr double maxSlew = 0.005 - maxDrift;

std::chrono::nanoseconds nanoseconds(double seconds) {
    return std::chrono::nanoseconds(std::llround(seconds * 1e9));
}

}  // namespace

void TimestampSmoother::restart(Nanoseconds reported) {
    isRunning_ = true;
    origin_ = reported;
    expected_ = 0;
}

std::optional<TimestampSmoother::Nanoseconds> TimestampSmoother::stamp(Nanoseconds reported,
                                                                       std::int64_t frames) {
    if (frames <= 0) return std::nullopt;
    const double length = static_cast<double>(frames) / sampleRate_;
    if (!isRunning_) restart(reported);
    double error = std::chrono::duration<double>(reported - origin_).count() - expected_;
    const bool beganLate = expected_ < beginning && error < -lateBeginning;
    if (beganLate || std::abs(error) > jump) {
        restart(reported);
        error = 0;
    }
    const Nanoseconds stamped = origin_ + nanoseconds(expected_);

    // A long buffer after a stall must not be corrected by more than the whole error.
    const double gain = std::min(2 * frequency * length, 1.0);
    const double slew = std::clamp(gain * error, -maxSlew * length, maxSlew * length);
    const double driftGain = frequency * frequency * std::min(length, jump);
    drift_ = std::clamp(drift_ + driftGain * error, -maxDrift, maxDrift);
    expected_ += length * (1 + drift_) + slew;

    // After a jump back, this time range was stamped before.
    if (end_ && stamped < *end_) return std::nullopt;
    end_ = origin_ + nanoseconds(expected_);
    return stamped;
}

}  // namespace lumicrate::pipewire
