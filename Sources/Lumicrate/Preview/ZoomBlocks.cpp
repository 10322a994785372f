// SPDX-License-Identifier: GPL-3.0-or-later
#include "Lumicrate/Preview/ZoomBlocks.h"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <utility>

namespace lumicrate {

void ZoomBlocks::begin(std::vector<RecordedInput> input, double duration) {
    input_ = std::move(input);
    duration_ = duration;
    state = State{zoomBlocks(input_, duration, {}), std::nullopt};
}

void ZoomBlocks::end() {
    state = std::nullopt;
    input_.clear();
}

ZoomPlan ZoomBlocks::plan() const {
    return isEditing() ? ZoomPlan((*state)->blocks, duration_, input_) : ZoomPlan({}, duration_);
}

bool ZoomBlocks::exists(std::size_t block) const {
    return isEditing() && block < (*state)->blocks.size();
}

ZoomBlocks::Room ZoomBlocks::roomOf(std::size_t block) const {
    const std::vector<ZoomBlock>& blocks = (*state)->blocks;
    return {block == 0 ? 0 : blocks[block - 1].end,
            block + 1 == blocks.size() ? duration_ : blocks[block + 1].start};
}

Point ZoomBlocks::pointerAt(double time) const {
    Point found{0.5, 0.5};
    for (const RecordedInput& each : input_) {
        if (each.time.seconds() > time) break;
        if (each.kind != RecordedInput::Kind::keys) found = each.position;
    }
    return {std::clamp(found.x, 0.0, 1.0), std::clamp(found.y, 0.0, 1.0)};
}

void ZoomBlocks::replace(std::size_t block, const ZoomBlock& changed) {
    State next = **state;
    next.blocks[block] = changed;
    next.selected = block;
    state = std::move(next);
}

void ZoomBlocks::select(std::optional<std::size_t> block) {
    if (!isEditing() || (block && !exists(*block)) || (*state)->selected == block) return;
    State next = **state;
    next.selected = block;
    state = std::move(next);
}

void ZoomBlocks::add(double time) {
    if (!isEditing()) return;
    State next = **state;
    const auto after = std::find_if(next.blocks.begin(), next.blocks.end(),
                                    [time](const ZoomBlock& each) { return each.end > time; });
    const ZoomStyle style;
    const double before = after == next.blocks.begin() ? 0 : std::prev(after)->end;
    ZoomBlock added;
    added.start = std::max(time - ZoomPlan::easeTime, before);
    added.end = std::min(time + style.hold + ZoomPlan::easeTime,
                         after == next.blocks.end() ? duration_ : after->start);
    added.scale = style.scale;
    added.centre = pointerAt(time);
    if (added.end - added.start < minLength) return;
    next.selected = static_cast<std::size_t>(after - next.blocks.begin());
    next.blocks.insert(after, added);
    state = std::move(next);
}

void ZoomBlocks::remove(std::size_t block) {
    if (!exists(block)) return;
    State next = **state;
    next.blocks.erase(next.blocks.begin() + static_cast<std::ptrdiff_t>(block));
    next.selected = std::nullopt;
    state = std::move(next);
}

void ZoomBlocks::moveTo(std::size_t block, double start) {
    if (!exists(block)) return;
    ZoomBlock moved = (*state)->blocks[block];
    const double length = moved.end - moved.start;
    const Room room = roomOf(block);
    moved.start = std::max(std::min(start, room.end - length), room.begin);
    moved.end = moved.start + length;
    replace(block, moved);
}

void ZoomBlocks::setStart(std::size_t block, double start) {
    if (!exists(block)) return;
    ZoomBlock changed = (*state)->blocks[block];
    changed.start = std::max(std::min(start, changed.end - minLength), roomOf(block).begin);
    replace(block, changed);
}

void ZoomBlocks::setEnd(std::size_t block, double end) {
    if (!exists(block)) return;
    ZoomBlock changed = (*state)->blocks[block];
    changed.end = std::min(std::max(end, changed.start + minLength), roomOf(block).end);
    replace(block, changed);
}

void ZoomBlocks::setScale(std::size_t block, double scale) {
    if (!exists(block)) return;
    ZoomBlock changed = (*state)->blocks[block];
    changed.scale = std::clamp(scale, scales.front(), scales.back());
    replace(block, changed);
}

void ZoomBlocks::stepScale(std::size_t block, int steps) {
    if (!exists(block)) return;
    const auto present = std::lower_bound(scales.begin(), scales.end(), (*state)->blocks[block].scale);
    const auto last = static_cast<std::ptrdiff_t>(scales.size()) - 1;
    const auto wanted = std::clamp<std::ptrdiff_t>(present - scales.begin() + steps, 0, last);
    setScale(block, scales[static_cast<std::size_t>(wanted)]);
}

}  // namespace lumicrate
