// SPDX-License-Identifier: GPL-3.0-or-later
#include "Lumicrate/Audio/MeterBallistics.h"

#include <algorithm>

namespace lumicrate {

using namespace std::chrono_literals;

namespace {

constexpr std::chrono::nanoseconds attack = 50ms;
constexpr std::chrono::nanoseconds release = 1700ms;
constexpr std::chrono::nanoseconds peakHold = 1500ms;

/// The part of `whole` that has passed.
float share(std::chrono::nanoseconds passed, std::chrono::nanoseconds whole) {
    return static_cast<float>(static_cast<double>(passed.count()) / static_cast<double>(whole.count()));
}

}  // namespace

float MeterBallistics::levelAt(Instant now) const {
    if (target_ > from_) return from_ + (target_ - from_) * std::min(share(now - since_, attack), 1.0F);
    return std::max(target_, from_ - share(now - since_, release));
}

MeterBallistics::Reading MeterBallistics::at(Instant now) const {
    const float level = levelAt(now);
    const float fallen = std::max(share(now - peakSince_ - peakHold, release), 0.0F);
    return {level, std::max(level, peak_ - fallen)};
}

void MeterBallistics::setLevel(float level, Instant now) {
    const Reading reading = at(now);
    from_ = reading.level;
    target_ = std::clamp(level, 0.0F, 1.0F);
    since_ = now;
    // A level that stayed at the peak until now was the peak until now.
    if (std::max(target_, reading.level) < reading.peak) return;
    peak_ = std::max(target_, reading.level);
    peakSince_ = now;
}

std::optional<std::chrono::nanoseconds> MeterBallistics::restsFor(Instant now) const {
    const Reading reading = at(now);
    if (reading.level != target_) return 0ns;
    if (reading.peak == reading.level) return std::nullopt;
    return std::max(peakSince_ + peakHold - now, Instant());
}

}  // namespace lumicrate
