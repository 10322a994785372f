// SPDX-License-Identifier: GPL-3.0-or-later
// TimestampSmoother: turns the jittery reported times of audio buffers into the even times at which they were
// captured.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>

namespace lumicrate::pipewire {

/// A delay-locked loop: timestamps advance at the measured rate of the device's clock and follow the reported
/// times slowly. One thread.
///
/// The distance of two timestamps is the buffer's length at a rate within 0.5 % of the nominal one, so that
/// no seam is audible. Only where the reported time jumps by more than 50 ms (sound was lost, or the device
/// changed) do they jump too, and by more than 5 ms back in the first quarter of a second, where the first
/// report was late. Timestamps always increase.
///
/// Example with buffers of 20 ms: reported at 0, 23, 39, 62, 80 ms, they are stamped at about 0, 20, 40, 60,
/// 80 ms. Reported at 0, 20, 340 ms, they are stamped at 0, 20, 340 ms: 300 ms of sound are missing.
class TimestampSmoother {
 public:
    using Nanoseconds = std::chrono::nanoseconds;

    /// `sampleRate` is in frames per second.
    explicit TimestampSmoother(int sampleRate) : sampleRate_(sampleRate) {}

    /// The timestamp of a buffer with that reported time of its first frame. Nothing when its time range was
    /// stamped before; the buffer should be dropped then.
    std::optional<Nanoseconds> stamp(Nanoseconds reported, std::int64_t frames);

    /// The next buffer does not continue the last one: its timestamp is the reported time, however small the
    /// difference.
    void noteJump() { isRunning_ = false; }

 private:
    void restart(Nanoseconds reported);

    int sampleRate_;
    bool isRunning_ = false;
    Nanoseconds origin_{};  ///< times below are seconds since then, small enough for a double
    double expected_ = 0;   ///< the next buffer's time
    double drift_ = 0;      ///< how much longer than nominal a frame lasts: 1e-6 is one part per million
    std::optional<Nanoseconds> end_;  ///< of the last stamped buffer
};

}  // namespace lumicrate::pipewire
