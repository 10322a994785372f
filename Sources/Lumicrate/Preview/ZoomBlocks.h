// SPDX-License-Identifier: GPL-3.0-or-later
// ZoomBlocks: the zooms of a recording while they are edited in its preview.
#pragma once

#include "Lumicrate/Zoom/ZoomPlan.h"
#include "Platform/RecordedInput.h"
#include "Support/Published.h"

#include <array>
#include <cstddef>
#include <optional>
#include <vector>

namespace lumicrate {

/// Blocks stay within the recording, in their order, and do not overlap. Times are seconds. Operations on a
/// block that does not exist do nothing. Main thread.
class ZoomBlocks {
 public:
    static constexpr double minLength = 0.5;
    static constexpr std::array scales = {1.25, 1.5, 2.0, 2.5, 3.0, 4.0};

    struct State {
        std::vector<ZoomBlock> blocks;
        std::optional<std::size_t> selected;

        bool operator==(const State&) const = default;
    };

    /// None while not editing.
    Published<std::optional<State>> state;

    /// With the blocks of the clicks in `input`.
    void begin(std::vector<RecordedInput> input, double duration);
    void end();
    bool isEditing() const { return state->has_value(); }
    /// How the recording is shown with the present blocks.
    ZoomPlan plan() const;

    void select(std::optional<std::size_t> block);
    /// A new block around a time, selected, centred where the pointer was. Nothing if there is no room.
    void add(double time);
    void remove(std::size_t block);
    /// Keeps the length.
    void moveTo(std::size_t block, double start);
    void setStart(std::size_t block, double start);
    void setEnd(std::size_t block, double end);
    void setScale(std::size_t block, double scale);
    /// The next larger or smaller one of `scales`.
    void stepScale(std::size_t block, int steps);

 private:
    /// Between the neighbours of a block.
    struct Room {
        double begin;
        double end;
    };

    bool exists(std::size_t block) const;
    Room roomOf(std::size_t block) const;
    Point pointerAt(double time) const;
    void replace(std::size_t block, const ZoomBlock& changed);

    std::vector<RecordedInput> input_;
    double duration_ = 0;
};

}  // namespace lumicrate
