// SPDX-License-Identifier: GPL-3.0-or-later
#include "Lumicrate/Zoom/ZoomPlan.h"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <optional>

namespace lumicrate {

namespace {

constexpr Rect whole{0, 0, 1, 1};
/// The middle part of a view in which clicks and the pointer are seen well.
constexpr double innerPart = 0.8;

double smoothstep(double u) {
    return u * u * (3 - 2 * u);
}

bool isInside(Point point) {
    return point.x >= 0 && point.x <= 1 && point.y >= 0 && point.y <= 1;
}

Rect viewAround(Point centre, double side) {
    return Rect{centre.x - side / 2, centre.y - side / 2, side, side}.shiftedInside(whole);
}

bool showsWell(const Rect& view, Point point) {
    const double margin = view.width * (1 - innerPart) / 2;
    return point.x >= view.minX() + margin && point.x <= view.maxX() - margin &&
           point.y >= view.minY() + margin && point.y <= view.maxY() - margin;
}

/// The clicks of one block.
struct Cluster {
    double first;
    double last;
    Rect box;  ///< may have no extent

    void add(double time, Point point) {
        last = time;
        const double right = std::max(box.maxX(), point.x);
        const double bottom = std::max(box.maxY(), point.y);
        box.x = std::min(box.x, point.x);
        box.y = std::min(box.y, point.y);
        box.width = right - box.x;
        box.height = bottom - box.y;
    }
};

std::vector<Cluster> clustersOf(const std::vector<RecordedInput>& input, const ZoomStyle& style) {
    // The view goes back, and to the next click, in an ease time each.
    const double nearby = style.hold + 3 * ZoomPlan::easeTime;
    const double inner = innerPart / style.scale;
    std::vector<Cluster> clusters;
    for (const RecordedInput& each : input) {
        if (each.kind != RecordedInput::Kind::press || !isInside(each.position)) continue;
        const double time = each.time.seconds();
        if (!clusters.empty() && time - clusters.back().last < nearby) {
            Cluster grown = clusters.back();
            grown.add(time, each.position);
            if (grown.box.width <= inner && grown.box.height <= inner) {
                clusters.back() = grown;
                continue;
            }
        }
        clusters.push_back({time, time, {each.position.x, each.position.y, 0, 0}});
    }
    return clusters;
}

}  // namespace

Rect ZoomBlock::view() const {
    return viewAround(centre, 1 / scale);
}

std::vector<ZoomBlock> zoomBlocks(const std::vector<RecordedInput>& input, double duration,
                                  const ZoomStyle& style) {
    std::vector<ZoomBlock> blocks;
    std::optional<double> lastClick;
    for (const Cluster& each : clustersOf(input, style)) {
        if (each.first >= duration) break;
        ZoomBlock block;
        block.start = std::max(each.first - ZoomPlan::easeTime, 0.0);
        if (lastClick) {
            // The click before is seen, and the view has arrived there, before it moves on.
            ZoomBlock& before = blocks.back();
            block.start = std::max({block.start, *lastClick, before.start + ZoomPlan::easeTime});
            before.end = std::min(before.end, block.start);
        }
        block.end = std::min(std::max(each.last, block.start) + style.hold + ZoomPlan::easeTime, duration);
        if (block.start >= duration) break;
        block.scale = style.scale;
        block.centre = {each.box.midX(), each.box.midY()};
        lastClick = each.last;
        blocks.push_back(block);
    }
    return blocks;
}

ZoomPlan::ZoomPlan(const std::vector<ZoomBlock>& blocks, double duration,
                   const std::vector<RecordedInput>& input) {
    std::vector<Position> pointer;
    for (const RecordedInput& each : input) {
        if (each.kind != RecordedInput::Kind::keys && isInside(each.position))
            pointer.push_back({each.time.seconds(), each.position});
    }
    for (auto block = blocks.begin(); block != blocks.end(); ++block) {
        const auto next = std::next(block);
        const bool isLast = block->end >= duration;
        const bool isJoined = next != blocks.end() && next->start - block->end < easeTime;
        const bool stays = isLast || isJoined;
        const double length = block->end - block->start;
        const double ease = isLast ? easeTime : std::min(easeTime, stays ? length : length / 2);
        const double until = stays ? block->end : block->end - ease;
        moveTo(block->view(), block->start, block->start + ease);
        follow(pointer, block->start + ease, until);
        if (!stays) moveTo(whole, until, block->end);
    }
}

void ZoomPlan::moveTo(const Rect& view, double begin, double end) {
    moves_.push_back({begin, end, lastView(), view});
}

Rect ZoomPlan::lastView() const {
    return moves_.empty() ? whole : moves_.back().to;
}

/// Moves to where the pointer will be when the view arrives, so that the view does not lag behind.
void ZoomPlan::follow(const std::vector<Position>& pointer, double from, double until) {
    const auto after = [&pointer](double time) {
        return std::upper_bound(pointer.begin(), pointer.end(), time,
                                [](double value, const Position& each) { return value < each.time; });
    };
    double free = from;
    for (auto each = after(from); each != pointer.end() && each->time + easeTime <= until; ++each) {
        const Rect view = lastView();
        if (each->time < free || showsWell(view, each->point)) continue;
        const double arrival = each->time + easeTime;
        const Rect next = viewAround(std::prev(after(arrival))->point, view.width);
        if (next == view) continue;
        moveTo(next, each->time, arrival);
        free = arrival;
    }
}

Rect ZoomPlan::viewAt(double seconds) const {
    const auto next = std::upper_bound(moves_.begin(), moves_.end(), seconds,
                                       [](double value, const Move& move) { return value < move.begin; });
    if (next == moves_.begin()) return whole;
    const Move& move = *std::prev(next);
    if (seconds >= move.end) return move.to;
    const double part = smoothstep((seconds - move.begin) / (move.end - move.begin));
    const auto between = [part](double from, double to) { return from + (to - from) * part; };
    const double side = between(move.from.width, move.to.width);
    return {between(move.from.x, move.to.x), between(move.from.y, move.to.y), side, side};
}

}  // namespace lumicrate
