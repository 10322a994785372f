// SPDX-License-Identifier: GPL-3.0-or-later
// ZoomPlan: which part of a recording's picture is shown when: enlarged where clicks happen, and otherwise
// the whole.
#pragma once

#include "Platform/RecordedInput.h"
#include "Support/Geometry.h"

#include <vector>

namespace lumicrate {

/// A time during which a part of the picture is shown enlarged. Times are seconds of the presentation.
struct ZoomBlock {
    static constexpr double maxScale = 4;

    double start = 0;  ///< the view begins to move
    double end = 0;    ///< the whole is shown again; at the end of the recording it stays as it is instead
    double scale = 2;  ///< 1 … maxScale
    Point centre{0.5, 0.5};  ///< of the part, 0 … 1 of the picture

    /// The part: 1 ⁄ scale of the picture, moved into it.
    Rect view() const;

    bool operator==(const ZoomBlock&) const = default;
};

/// How blocks are made from clicks.
struct ZoomStyle {
    double scale = 2;
    double hold = 2;  ///< seconds, at least, for which the view stays after the last click of a block
};

/// Blocks in which every click inside the picture is seen enlarged; ascending, and not overlapping. The view
/// has arrived when the block's first click happens, if there is time for that. A click belongs to the block
/// before if it follows so soon that the view would not stand still between them, and if one view contains
/// both well. `input` ascends; `duration` is that of the recording, in seconds.
std::vector<ZoomBlock> zoomBlocks(const std::vector<RecordedInput>& input, double duration,
                                  const ZoomStyle& style);

/// The view at each time. It moves at the beginning and at the end of a block, for easeTime, or for half the
/// block if that is shorter: when u of that time has passed, 0 … 1, each edge of the view has gone 3u² − 2u³
/// of its way. Between blocks that are nearer than easeTime the view does not return to the whole. A view
/// whose border the pointer comes near moves on to where the pointer goes. Any thread.
class ZoomPlan {
 public:
    /// Seconds for which the view moves.
    static constexpr double easeTime = 0.6;

    /// `blocks` ascend and do not overlap; `input` ascends, and only its pointer counts.
    ZoomPlan(const std::vector<ZoomBlock>& blocks, double duration,
             const std::vector<RecordedInput>& input = {});

    /// The part of the picture shown, 0 … 1, with the picture's aspect ratio and within it; exactly
    /// {0, 0, 1, 1} outside blocks.
    Rect viewAt(double seconds) const;
    bool isEmpty() const { return moves_.empty(); }

 private:
    struct Move {
        double begin;
        double end;
        Rect from;
        Rect to;
    };
    struct Position {
        double time;
        Point point;
    };

    void moveTo(const Rect& view, double begin, double end);
    void follow(const std::vector<Position>& pointer, double from, double until);
    Rect lastView() const;

    std::vector<Move> moves_;  ///< ascending, not overlapping
};

}  // namespace lumicrate
