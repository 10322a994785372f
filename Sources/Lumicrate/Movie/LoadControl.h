// SPDX-License-Identifier: GPL-3.0-or-later
// LoadControl: decides how much work the video encoder must save in order to lose no picture.
//
// The measure is the backlog, the part of the encoder's queue that is taken. At half of it the encoder saves
// one level more, and again after a fifth of a second if that was not enough. A level is given back after the
// queue has been nearly empty for two seconds. If the backlog grows again soon after that, the level was
// needed: the wait doubles, up to half a minute, so that the quality does not swing.
#pragma once

#include "Support/MediaTime.h"

#include <optional>

namespace lumicrate {

class LoadControl {
 public:
    /// 0 is full quality.
    static constexpr int maxLevel = 3;

    /// The level for the next picture, when `backlog` (0 … 1) is taken of the queue at time `now`. Times must
    /// not decrease.
    int update(double backlog, CMTime now);

 private:
    void save(CMTime now);
    void relax(CMTime now);

    int level_ = 0;
    std::optional<CMTime> changed_;    ///< when the level last changed
    std::optional<CMTime> relaxed_;    ///< when a level was last given back
    std::optional<CMTime> calmSince_;  ///< since when the queue has been nearly empty
    int wait_ = 2;                     ///< seconds of calm before a level is given back
};

}  // namespace lumicrate
