// SPDX-License-Identifier: GPL-3.0-or-later
#include "Lumicrate/Movie/LoadControl.h"

#include "Support/Log.h"

#include <algorithm>

namespace lumicrate {

namespace {

constexpr double busy = 0.5;
constexpr double nearlyEmpty = 0.2;
/// What a level takes to show an effect.
constexpr CMTime settlingTime{1, 5};
constexpr int minWait = 2;
constexpr int maxWait = 32;
/// A backlog that grows again within this time shows that the level was needed.
constexpr CMTime relapseTime{5, 1};

bool passed(const std::optional<CMTime>& since, CMTime time, CMTime now) {
    return !since || now - *since >= time;
}

}  // namespace

int LoadControl::update(double backlog, CMTime now) {
    if (backlog > nearlyEmpty) {
        calmSince_.reset();
        if (backlog >= busy && level_ < maxLevel && passed(changed_, settlingTime, now)) save(now);
        return level_;
    }
    if (!calmSince_) calmSince_ = now;
    if (level_ > 0 && passed(calmSince_, CMTime(wait_, 1), now)) relax(now);
    return level_;
}

void LoadControl::save(CMTime now) {
    const bool relapse = relaxed_ && !passed(relaxed_, relapseTime, now);
    wait_ = relapse ? std::min(2 * wait_, maxWait) : wait_;
    ++level_;
    log(LogArea::movie, "the encoder is behind, saving level ", level_);
    changed_ = now;
}

void LoadControl::relax(CMTime now) {
    if (passed(relaxed_, CMTime(2 * maxWait, 1), now)) wait_ = minWait;
    --level_;
    log(LogArea::movie, "the encoder keeps up, saving level ", level_);
    changed_ = relaxed_ = calmSince_ = now;
}

}  // namespace lumicrate
