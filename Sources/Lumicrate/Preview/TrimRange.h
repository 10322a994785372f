// SPDX-License-Identifier: GPL-3.0-or-later
// TrimRange: the part of a recording that trimming keeps, with ends that snap to pictures.
#pragma once

#include "Platform/AVAsset.h"
#include "Support/MediaTime.h"

#include <optional>
#include <vector>

namespace lumicrate {

/// The times at which a recording's picture changes, for moving from picture to picture. A recording of
/// sound has none; its times are used as they are.
class PictureTable {
 public:
    PictureTable() = default;
    /// `times` ascend.
    PictureTable(std::vector<CMTime> times, CMTime duration);

    CMTime duration() const { return duration_; }
    const std::vector<CMTime>& times() const { return times_; }
    /// The beginning of the latest picture at or before `time`, which is the one shown then.
    CMTime pictureAt(CMTime time) const;
    /// The end of that picture.
    CMTime pictureEnd(CMTime time) const;
    /// The beginning of the picture `count` pictures after the one shown at `time`, or before it when
    /// negative; of the first or last picture when there are not so many. Without pictures, steps of 1/30 s.
    CMTime stepped(CMTime time, int count) const;
    /// The beginning or end of a picture that is nearest to `time`.
    CMTime nearestCut(CMTime time) const;

 private:
    std::vector<CMTime> times_;
    CMTime duration_ = CMTime::zero();
};

/// Start and end keep at least one picture between them; of sound, a tenth of a second.
class TrimRange {
 public:
    /// Everything.
    explicit TrimRange(const PictureTable& pictures);

    const CMTimeRange& range() const { return range_; }
    bool isEverything() const;
    /// Moves an end to the nearest cut, not beyond the other end.
    void setStart(CMTime time);
    void setEnd(CMTime time);

 private:
    PictureTable pictures_;
    CMTimeRange range_;
};

}  // namespace lumicrate
