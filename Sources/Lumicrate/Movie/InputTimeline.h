// SPDX-License-Identifier: GPL-3.0-or-later
// InputTimeline: places recorded input on the timeline of a movie.
#pragma once

#include "Platform/RecordedInput.h"
#include "Support/MediaTime.h"

#include <optional>
#include <utility>

namespace lumicrate {

/// While nothing is shown (before the movie and inside a pause), presses and keys are dropped, and the last
/// position waits. For example, with positions A at 1 s and B at 3 s and a movie that begins at 2 s, A is
/// there from the beginning on. Times of the movie never decrease.
class InputTimeline {
 public:
    /// `shownAt` is when the input is shown; nothing while nothing is. Returns the input with that time if it
    /// belongs into the movie.
    std::optional<RecordedInput> add(RecordedInput input, std::optional<CMTime> shownAt) {
        if (!shownAt) {
            if (input.kind == RecordedInput::Kind::pointer) waiting_ = std::move(input);
            return std::nullopt;
        }
        return placed(std::move(input), *shownAt);
    }

    /// Something is shown from this time of the movie on. Returns the position that has waited.
    std::optional<RecordedInput> begin(CMTime shownAt) {
        auto held = std::exchange(waiting_, std::nullopt);
        if (!held) return std::nullopt;
        return placed(std::move(*held), shownAt);
    }

 private:
    RecordedInput placed(RecordedInput input, CMTime at) {
        input.time = last_.isValid() && at < last_ ? last_ : at;
        last_ = input.time;
        return input;
    }

    std::optional<RecordedInput> waiting_;
    CMTime last_;
};

}  // namespace lumicrate
