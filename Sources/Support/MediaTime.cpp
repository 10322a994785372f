// SPDX-License-Identifier: GPL-3.0-or-later
#include "Support/MediaTime.h"

#include <cmath>
#include <cstdlib>
#include <limits>
#include <numeric>

namespace lumicrate {

namespace {

// Wide enough for the products of two 64-bit numbers.
__extension__ using Wide = __int128;

Wide gcd(Wide a, Wide b) {
    if (a < 0) a = -a;
    while (b != 0) {
        const Wide remainder = a % b;
        a = b;
        b = remainder;
    }
    return a;
}

std::int64_t narrowed(Wide number) {
    if (number > std::numeric_limits<std::int64_t>::max() ||
        number < std::numeric_limits<std::int64_t>::min()) {
        std::abort();
    }
    return static_cast<std::int64_t>(number);
}

CMTime sum(const CMTime& a, Wide bValue, std::int64_t bTimescale) {
    if (a.timescale() == bTimescale) return {narrowed(a.value() + bValue), bTimescale};
    const std::int64_t common = std::gcd(a.timescale(), bTimescale);
    const Wide value = a.value() * Wide{bTimescale / common} + bValue * Wide{a.timescale() / common};
    const Wide timescale = Wide{a.timescale() / common} * bTimescale;
    const Wide divisor = gcd(value, timescale);
    return {narrowed(value / divisor), narrowed(timescale / divisor)};
}

}  // namespace

double CMTime::seconds() const {
    if (!isValid()) return std::numeric_limits<double>::quiet_NaN();
    return static_cast<double>(value_) / static_cast<double>(timescale_);
}

std::int64_t CMTime::converted(std::int64_t timescale) const {
    const Wide scaled = Wide{value_} * timescale;
    const Wide half = timescale_ / 2;
    return narrowed((scaled >= 0 ? scaled + half : scaled - half) / timescale_);
}

CMTime CMTime::fromSeconds(double seconds) {
    constexpr std::int64_t microsecond = 1'000'000;
    return {std::llround(seconds * microsecond), microsecond};
}

CMTime CMTime::operator-() const {
    return {-value_, timescale_};
}

CMTime operator+(const CMTime& a, const CMTime& b) {
    if (!a.isValid() || !b.isValid()) return CMTime::invalid();
    return sum(a, b.value_, b.timescale_);
}

CMTime operator-(const CMTime& a, const CMTime& b) {
    if (!a.isValid() || !b.isValid()) return CMTime::invalid();
    return sum(a, -Wide{b.value_}, b.timescale_);
}

bool operator==(const CMTime& a, const CMTime& b) {
    if (!a.isValid() || !b.isValid()) return a.isValid() == b.isValid();
    return Wide{a.value_} * b.timescale_ == Wide{b.value_} * a.timescale_;
}

std::partial_ordering operator<=>(const CMTime& a, const CMTime& b) {
    if (!a.isValid() || !b.isValid()) {
        return a == b ? std::partial_ordering::equivalent : std::partial_ordering::unordered;
    }
    return Wide{a.value_} * b.timescale_ <=> Wide{b.value_} * a.timescale_;
}

}  // namespace lumicrate
