// SPDX-License-Identifier: GPL-3.0-or-later
// SelectionGeometry and EdgeSnapping: where a selection ends up after any drag.
#include "Lumicrate/Overlays/Selection/SelectionGeometry.h"

#include <algorithm>
#include <cmath>
#include <random>
#include <tuple>

namespace lumicrate::test {
namespace {

constexpr double epsilon = 1e-6;
constexpr double minSide = SelectionGeometry::minSide;

/// Random numbers, often whole ones or a bound.
class Numbers {
 public:
    double between(double low, double high) {
        const double any = std::uniform_real_distribution(low, high)(random_);
        const auto kind = random_() % 8;
        return kind < 4 ? any : kind < 6 ? std::clamp(std::round(any), low, high) : kind == 6 ? low : high;
    }

 private:
    std::mt19937 random_{7};
};

testing::AssertionResult isValid(const Rect& rect, const SelectionGeometry& in, bool exactRatio = true) {
    const Rect known = in.bounds.intersection(rect);
    const bool inside = std::max(rect.width - known.width, rect.height - known.height) < epsilon;
    const bool large = std::min(rect.width, rect.height) >= minSide - epsilon;
    const bool shaped = !exactRatio || !in.ratio || std::abs(rect.width - rect.height * *in.ratio) < epsilon;
    return (inside && large && shaped ? testing::AssertionSuccess() : testing::AssertionFailure())
           << stringFromRect(rect) << " in " << stringFromRect(in.bounds) << " with " << in.ratio.value_or(0);
}

TEST(SelectionGeometryTests, EveryDragGivesAValidSelection) {
    Numbers random;
    for (const Size& screen : {Size{1920, 1080}, {1080, 1920}, {683, 384}, {80, 70}}) {
        for (const AspectPreset preset : allCases<AspectPreset>()) {
            const SelectionGeometry geometry{{0, 0, screen.width, screen.height}, ratioOf(preset)};
            const auto side = [&] {
                return random.between(-1, 1) < 0 ? std::nullopt : std::optional(random.between(1, 5000));
            };
            Rect now = geometry.largestWithin(geometry.bounds);
            for (int i = 0; i < 2000; ++i) {
                const Size before = now.size();
                now = geometry.move(now, random.between(-4000, 4000), random.between(-4000, 4000));
                ASSERT_TRUE(isValid(now, geometry)) << "moved";
                ASSERT_EQ(now.size(), before);
                for (const Handle handle : handlesFor(geometry.ratio)) {
                    now = geometry.resize(now, handle,
                                          {random.between(-300, screen.width + 300),
                                           random.between(-300, screen.height + 300)});
                    ASSERT_TRUE(isValid(now, geometry)) << "resized";
                }
                ASSERT_TRUE(isValid(geometry.resized(now, side(), side()), geometry, false)) << "typed";
                const Rect rounded = geometry.rounded(now);
                ASSERT_EQ(geometry.rounded(rounded), rounded);
                ASSERT_TRUE(isValid(rounded, geometry, false));
                ASSERT_LT(rounded.width - now.width, 2);
            }
        }
    }
}

TEST(SelectionGeometryTests, HandlesMoveTheirOwnEdges) {
    const SelectionGeometry free{{0, 0, 1000, 800}, std::nullopt};
    const Rect rect{100, 100, 200, 300};
    const std::tuple<Handle, Point, Handle, Rect> cases[] = {
        {Handle::topLeft, {100, 400}, Handle::bottomRight, {150, 100, 150, 50}},
        {Handle::top, {200, 400}, Handle::bottom, {100, 100, 200, 50}},
        {Handle::topRight, {300, 400}, Handle::bottomLeft, {100, 100, 50, 50}},
        {Handle::right, {300, 250}, Handle::left, {100, 100, 50, 300}},
        {Handle::bottomRight, {300, 100}, Handle::topLeft, {100, 150, 50, 250}},
        {Handle::bottom, {200, 100}, Handle::top, {100, 150, 200, 250}},
        {Handle::bottomLeft, {100, 100}, Handle::topRight, {150, 150, 150, 250}},
        {Handle::left, {100, 250}, Handle::right, {150, 100, 150, 300}}};
    for (const auto& [handle, point, other, resized] : cases) {
        EXPECT_EQ(pointOf(handle, rect), point);
        EXPECT_EQ(opposite(handle), other);
        EXPECT_EQ(free.resize(rect, handle, {150, 150}), resized);
        EXPECT_EQ(free.resize(rect, handle, point), rect);
    }
    EXPECT_EQ(free.resize(rect, Handle::left, {900, 0}), (Rect{268, 100, 32, 300})) << "the minimum";
    EXPECT_THAT(handlesFor(1.0), testing::ElementsAre(Handle::topLeft, Handle::topRight, Handle::bottomRight,
                                                      Handle::bottomLeft));
}

TEST(SelectionGeometryTests, AppliesAspectsAndSizes) {
    const Rect screen{0, 0, 1600, 900};
    const auto with = [&](AspectPreset preset) { return SelectionGeometry{screen, ratioOf(preset)}; };
    const SelectionGeometry wide = with(AspectPreset::wide);
    const SelectionGeometry square = with(AspectPreset::square);
    const SelectionGeometry free = with(AspectPreset::custom);
    const Rect now{100, 200, 320, 180};
    const std::pair<Rect, Rect> cases[] = {
        {free.rect({300, 400}, {100, 700}), {100, 400, 200, 300}},
        {square.rect({300, 400}, {500, 450}), {300, 400, 200, 200}},
        {square.rect({300, 400}, {280, 100}), {0, 100, 300, 300}},
        {wide.rect({300, 400}, {316, 490}), {300, 400, 160, 90}},
        {wide.rect({300, 400}, {140, 399}), {140, 310, 160, 90}},
        {wide.rect({1440, 100}, {1600, 800}), {1440, 100, 160, 90}},
        {wide.rect({100, 810}, {1500, 820}), {100, 810, 160, 90}},
        {wide.rect({800, 90}, {100, 0}), {640, 0, 160, 90}},
        {wide.reshape({100, 100, 320, 500}), {100, 260, 320, 180}},
        {square.reshape({0, 0, 1600, 900}), {350, 0, 900, 900}},
        {with(AspectPreset::tall).reshape({1500, 0, 90, 100}), {1500, 0, 90, 160}},
        {free.largestWithin(screen), screen},
        {square.largestWithin({10, 20, 400, 300}), {60, 20, 300, 300}},
        {wide.resize({100, 100, 320, 180}, Handle::topRight, {104, 101}), {100, 100, 32 * 16.0 / 9, 32}},
        {free.resized(now, 400, std::nullopt), {100, 200, 400, 180}},
        {free.resized(now, std::nullopt, 80), {100, 300, 320, 80}},
        {free.resized(now, 9999, 1), {0, 348, 1600, 32}},
        {free.resized(now, std::nullopt, 600), {100, 0, 320, 600}},
        {free.resized({1500, 200, 50, 50}, 300, std::nullopt), {1300, 200, 300, 50}},
        {wide.resized(now, 160, std::nullopt), {100, 290, 160, 90}},
        {wide.resized(now, std::nullopt, 90), {100, 290, 160, 90}}};
    for (const auto& [result, expected] : cases)
        EXPECT_EQ(result, expected);
}

TEST(SelectionGeometryTests, ToolbarCoversNoHandle) {
    const SelectionGeometry geometry{{0, 0, 1280, 800}, std::nullopt};
    const Rect& screen = geometry.bounds;
    const Size bar{720, 44};
    const std::pair<Rect, Point> cases[] = {{{300, 300, 600, 200}, {240, 244}},
                                            {{300, 20, 600, 200}, {240, 232}},
                                            {screen, {280, 12}},
                                            {{0, 300, 60, 60}, {12, 244}},
                                            {{1270, 300, 10, 60}, {548, 244}}};
    for (const auto& [selection, origin] : cases)
        EXPECT_EQ(toolbarFrame(selection, bar, screen), (Rect{origin.x, origin.y, 720, 44}));
    Numbers random;
    for (int i = 0; i < 20000; ++i) {
        const double width = random.between(minSide, 1280), height = random.between(minSide, 800);
        const Rect selection{random.between(0, 1280 - width), random.between(0, 800 - height), width, height};
        const Rect frame = toolbarFrame(selection, bar, screen);
        ASSERT_EQ(frame.shiftedInside(geometry.bounds), frame);
        for (const Handle each : allHandles) {
            const Point point = pointOf(each, selection);
            const Rect grip{point.x - 8, point.y - 8, 16, 16};
            ASSERT_TRUE(grip.intersection(frame).isEmpty()) << stringFromRect(selection);
        }
    }
}

TEST(EdgeSnappingTests, EdgesSnapToLinesBesideThem) {
    const EdgeSnapping snapping({0, 0, 1000, 800}, {{200, 100, 300, 400}, {0, 0, 1000, 800}});
    const std::tuple<Point, Point, const char*> points[] = {
        {{203, 300}, {200, 300}, "a window's edge"},
        {{206, 95}, {200, 100}, "its corner, just within reach"},
        {{207, 300}, {207, 300}, "out of reach"},
        {{203, 600}, {203, 600}, "the window is not beside it"},
        {{496, 402}, {500, 400}, "the nearest of a window's edge and the middles"},
        {{2, 798}, {0, 800}, "the screen's corner"}};
    for (const auto& [free, snapped, why] : points)
        EXPECT_EQ(snapping.point(free), snapped) << why;
    EXPECT_EQ(snapping.moved({103, 300, 95, 50}), (Rect{105, 300, 95, 50})) << "the right edge";
    EXPECT_EQ(snapping.moved({4, 747, 50, 50}), (Rect{0, 750, 50, 50}));
    EXPECT_EQ(snapping.moved({60, 600, 50, 50}), (Rect{60, 600, 50, 50}));
}

}  // namespace
}  // namespace lumicrate::test
