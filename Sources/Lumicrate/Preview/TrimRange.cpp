// SPDX-License-Identifier: GPL-3.0-or-later
#include "Lumicrate/Preview/TrimRange.h"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <utility>

namespace lumicrate {

namespace {

const CMTime soundStep(1, 30);
const CMTime minSound(1, 10);
/// Positions that went through text or arithmetic may be a little before the picture they mean.
const CMTime rounding(1, 1'000'000);

}  // namespace

PictureTable::PictureTable(std::vector<CMTime> times, CMTime duration)
    : times_(std::move(times)), duration_(duration) {}

CMTime PictureTable::pictureAt(CMTime time) const {
    return times_.empty() ? time : stepped(time, 0);
}

CMTime PictureTable::stepped(CMTime time, int count) const {
    if (times_.empty()) {
        const CMTime moved = time + CMTime(soundStep.value() * count, soundStep.timescale());
        return std::clamp(moved, CMTime::zero(), duration_);
    }
    const auto next = std::upper_bound(times_.begin(), times_.end(), time + rounding);
    const auto shown = std::max<std::ptrdiff_t>(next - times_.begin() - 1, 0);
    const auto last = static_cast<std::ptrdiff_t>(times_.size()) - 1;
    return times_[static_cast<std::size_t>(std::clamp<std::ptrdiff_t>(shown + count, 0, last))];
}

CMTime PictureTable::pictureEnd(CMTime time) const {
    if (times_.empty()) return time;
    const auto next = std::upper_bound(times_.begin(), times_.end(), time + rounding);
    return next == times_.end() ? duration_ : *next;
}

CMTime PictureTable::nearestCut(CMTime time) const {
    time = std::clamp(time, CMTime::zero(), duration_);
    if (times_.empty()) return time;
    const auto next = std::upper_bound(times_.begin(), times_.end(), time);
    const CMTime after = next == times_.end() ? duration_ : *next;
    const CMTime before = next == times_.begin() ? CMTime::zero() : *std::prev(next);
    return time - before < after - time ? before : after;
}

TrimRange::TrimRange(const PictureTable& pictures)
    : pictures_(pictures), range_{CMTime::zero(), pictures.duration()} {}

bool TrimRange::isEverything() const {
    return range_.start == CMTime::zero() && range_.end == pictures_.duration();
}

void TrimRange::setStart(CMTime time) {
    CMTime latest = range_.end - minSound;
    // Stepping from a little before the end gives the last picture that the range still shows.
    if (!pictures_.times().empty()) latest = pictures_.pictureAt(range_.end - rounding - rounding);
    range_.start = std::max(std::min(pictures_.nearestCut(time), latest), CMTime::zero());
}

void TrimRange::setEnd(CMTime time) {
    const bool isSound = pictures_.times().empty();
    const CMTime earliest = isSound ? range_.start + minSound : pictures_.pictureEnd(range_.start);
    range_.end = std::min(std::max(pictures_.nearestCut(time), earliest), pictures_.duration());
}

}  // namespace lumicrate
