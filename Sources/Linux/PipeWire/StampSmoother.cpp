#include "Linux/PipeWire/StampSmoother.h"

#include <algorithm>
#include <cmath>

namespace lumicrate::pipewire {

namespace {

/// Reports that are further off than this, in seconds, are no jitter.
constexpr double jump = 0.05;
/// The loop's natural frequency in radians a second. Critically damped, it shakes off the jitter of a busy
/// machine while a drift that sets in at once never costs more than drift ⁄ (e · frequency): 0.4 ms for 500
/// parts in a million.
constexpr double frequency = 0.5;
/// No device's clock is further off than this.
constexpr double greatestDrift = 0.002;
/// How fast stamps may move towards the reports, in seconds a second.
constexpr double greatestSlew = 0.005 - greatestDrift;

std::chrono::nanoseconds nanoseconds(double seconds) {
    return std::chrono::nanoseconds(std::llround(seconds * 1e9));
}

}  // namespace

void StampSmoother::lock(Nanoseconds reported) {
    locked_ = true;
    origin_ = reported;
    expected_ = 0;
}

std::optional<StampSmoother::Nanoseconds> StampSmoother::stamp(Nanoseconds reported, std::int64_t frames) {
    if (frames <= 0) return std::nullopt;
    const double length = static_cast<double>(frames) / sampleRate_;
    if (!locked_) lock(reported);
    double error = std::chrono::duration<double>(reported - origin_).count() - expected_;
    if (std::abs(error) > jump) {
        lock(reported);
        error = 0;
    }
    const Nanoseconds stamped = origin_ + nanoseconds(expected_);

    // A long stretch, left over from a stall, must not be corrected by more than the whole error.
    const double gain = std::min(2 * frequency * length, 1.0);
    const double slew = std::clamp(gain * error, -greatestSlew * length, greatestSlew * length);
    const double driftGain = frequency * frequency * std::min(length, jump);
    drift_ = std::clamp(drift_ + driftGain * error, -greatestDrift, greatestDrift);
    expected_ += length * (1 + drift_) + slew;

    // After a jump back, what was stamped already is told a second time.
    if (end_ && stamped < *end_) return std::nullopt;
    end_ = origin_ + nanoseconds(expected_);
    return stamped;
}

}  // namespace lumicrate::pipewire
