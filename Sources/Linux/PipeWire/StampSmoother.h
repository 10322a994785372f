// StampSmoother: turns the jittery times at which stretches of sound are reported into the even times at
// which they were captured.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>

namespace lumicrate::pipewire {

/// A delay-locked loop: the stamps run on at the rate that the device's clock is measured to have, and follow
/// the reported times slowly. One thread.
///
/// From a stretch to the next, stamps differ by its length at a rate within half a percent of the nominal
/// one, so that nobody hears a seam; only where the reports jump by more than 50 ms (sound was lost, or the
/// device changed) do they jump along. They always grow.
class StampSmoother {
 public:
    using Nanoseconds = std::chrono::nanoseconds;

    /// `sampleRate` is in frames a second.
    explicit StampSmoother(int sampleRate) : sampleRate_(sampleRate) {}

    /// Takes the reported time of a stretch's first frame and its length and gives the time to stamp it with;
    /// nothing when that stretch of time has been stamped already and the sound should be left out.
    std::optional<Nanoseconds> stamp(Nanoseconds reported, std::int64_t frames);

    /// Says that the next stretch is known not to follow on the last, so that its stamp jumps however short
    /// the way is.
    void noteJump() { locked_ = false; }

    /// How much longer than nominal a frame is measured to last, as a fraction: 1e-6 is one part in a
    /// million.
    double drift() const { return drift_; }

 private:
    void lock(Nanoseconds reported);

    int sampleRate_;
    bool locked_ = false;
    Nanoseconds origin_{};  ///< times below are seconds from here, small enough to stay exact in a double
    double expected_ = 0;   ///< the next stretch's time
    double drift_ = 0;
    std::optional<Nanoseconds> end_;  ///< of what was stamped last
};

}  // namespace lumicrate::pipewire
