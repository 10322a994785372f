// SPDX-License-Identifier: GPL-3.0-or-later
// MeterBallistics: how the display of a level meter moves between the levels that are reported to it.
#pragma once

#include <chrono>
#include <optional>

namespace lumicrate {

/// Rises within 50 ms, falls by the whole scale in 1.7 s, and holds the peak for 1.5 s before that falls,
/// too. Levels are 0 … 1, linear in decibels. It reads no clock: callers pass the current instant, which must
/// not go back.
class MeterBallistics {
 public:
    /// Monotonic, since an arbitrary instant.
    using Instant = std::chrono::nanoseconds;

    struct Reading {
        float level = 0;
        float peak = 0;  ///< at least `level`
        bool operator==(const Reading&) const = default;
    };

    void setLevel(float level, Instant now);
    /// Drops level and peak to 0 at once.
    void reset() { *this = {}; }
    Reading at(Instant now) const;
    /// How long the reading stays as it is: 0 while it moves, none if it does not change until the next
    /// level.
    std::optional<std::chrono::nanoseconds> restsFor(Instant now) const;

 private:
    float levelAt(Instant now) const;

    float from_ = 0;  ///< the reading when `target_` was set
    float target_ = 0;
    Instant since_{};
    float peak_ = 0;
    Instant peakSince_{};
};

}  // namespace lumicrate
