// SPDX-License-Identifier: GPL-3.0-or-later
// CMTime: a media time as an exact fraction of seconds, and the clock that timestamps captured samples.
#pragma once

#include <chrono>
#include <compare>
#include <cstdint>

namespace lumicrate {

/// An exact rational number of seconds, value ⁄ timescale, or "no time" (invalid).
///
/// Adding, subtracting and comparing never round; a sum whose reduced fraction does not fit 64 bits is a
/// programming error and aborts the program. Arithmetic with an invalid time gives an invalid time; an
/// invalid time equals only another invalid one and is unordered with all others.
class CMTime {
 public:
    /// The invalid time.
    constexpr CMTime() = default;
    /// `timescale` is the number of units in a second and must be above zero.
    constexpr CMTime(std::int64_t value, std::int64_t timescale) : value_(value), timescale_(timescale) {}

    static constexpr CMTime zero() { return {0, 1}; }
    static constexpr CMTime invalid() { return {}; }
    static CMTime from(std::chrono::nanoseconds duration) { return {duration.count(), 1'000'000'000}; }
    /// Rounded to microseconds, for positions that went through floating point.
    static CMTime fromSeconds(double seconds);

    constexpr bool isValid() const { return timescale_ > 0; }
    constexpr std::int64_t value() const { return value_; }
    constexpr std::int64_t timescale() const { return timescale_; }

    /// In floating-point seconds; NaN when invalid.
    double seconds() const;
    /// The whole number of 1 ⁄ `timescale` seconds nearest to this time, halves away from zero. Must be
    /// valid.
    std::int64_t converted(std::int64_t timescale) const;

    CMTime operator-() const;
    friend CMTime operator+(const CMTime& a, const CMTime& b);
    friend CMTime operator-(const CMTime& a, const CMTime& b);
    friend bool operator==(const CMTime& a, const CMTime& b);
    friend std::partial_ordering operator<=>(const CMTime& a, const CMTime& b);

 private:
    std::int64_t value_ = 0;
    std::int64_t timescale_ = 0;
};

/// A clock that can be read from any thread.
class CMClock {
 public:
    virtual ~CMClock() = default;
    virtual CMTime time() const = 0;
};

/// The host clock: monotonic nanoseconds since an arbitrary instant (CLOCK_MONOTONIC). Unlike
/// the wall clock it never jumps. Every sample of a recording is timestamped with it.
class HostClock final : public CMClock {
 public:
    static std::chrono::nanoseconds now() { return std::chrono::steady_clock::now().time_since_epoch(); }
    CMTime time() const override { return CMTime::from(now()); }
};

}  // namespace lumicrate
