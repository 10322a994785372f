// What becomes of a selection under any drag, and where the windows and edges are that it goes by.
#include "Lumicrate/Overlays/Selection/AspectPreset.h"
#include "Lumicrate/Overlays/Selection/EdgeSnapping.h"
#include "Lumicrate/Overlays/Selection/HoverTarget.h"
#include "Lumicrate/Overlays/Selection/SelectionGeometry.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>

namespace lumicrate::test {
namespace {

using testing::ElementsAre;

constexpr double hair = 1e-6;

/// Screens, shapes, selections and points as they come, and as they would not.
class Drags {
 public:
    explicit Drags(unsigned seed) : random_(seed) {}

    double between(double low, double high) {
        const double free = std::uniform_real_distribution(low, high)(random_);
        switch (random_() % 4) {
            case 0:
                return std::clamp(std::round(free), low, high);
            case 1:
                return random_() % 2 == 0 ? low : high;
            default:
                return free;
        }
    }
    template <class Values>
    auto oneOf(const Values& values) {
        return values[random_() % values.size()];
    }
    SelectionGeometry geometry() {
        const std::vector<Size> screens{{1920, 1080}, {1080, 1920}, {3840, 2160}, {683, 384}, {80, 70}};
        const Size screen = oneOf(screens);
        return {{0, 0, screen.width, screen.height}, ratioOf(oneOf(allCases<AspectPreset>()))};
    }
    /// At least of the smallest size, and of the ratio if there is one.
    Rect selection(const SelectionGeometry& in) {
        constexpr double least = SelectionGeometry::minimumSide;
        const double width = between(least, in.bounds.width);
        const double height = between(least, in.bounds.height);
        const Rect free{between(0, in.bounds.width - width), between(0, in.bounds.height - height), width,
                        height};
        const Rect shaped = in.largestWithin(free);
        return shaped.width < least || shaped.height < least ? in.largestWithin(in.bounds) : shaped;
    }
    Point point(const SelectionGeometry& in) {
        return {between(-300, in.bounds.width + 300), between(-300, in.bounds.height + 300)};
    }
    bool coin() { return random_() % 2 == 0; }

 private:
    std::mt19937 random_;
};

testing::AssertionResult isProper(const Rect& rect, const SelectionGeometry& in, bool exactRatio = true) {
    const bool inside = rect.minX() >= -hair && rect.minY() >= -hair &&
                        rect.maxX() <= in.bounds.maxX() + hair && rect.maxY() <= in.bounds.maxY() + hair;
    const bool large = rect.width >= SelectionGeometry::minimumSide - hair &&
                       rect.height >= SelectionGeometry::minimumSide - hair;
    const bool shaped = !exactRatio || !in.ratio || std::abs(rect.width - rect.height * *in.ratio) < hair;
    if (inside && large && shaped) return testing::AssertionSuccess();
    return testing::AssertionFailure()
           << stringFromRect(rect) << " in " << stringFromRect(in.bounds) << " with " << in.ratio.value_or(0)
           << (inside ? "" : ", outside") << (large ? "" : ", too small") << (shaped ? "" : ", misshapen");
}

TEST(SelectionGeometryTests, WhateverIsDraggedStaysProper) {
    Drags drags(7);
    for (int i = 0; i < 40000; ++i) {
        const SelectionGeometry geometry = drags.geometry();
        const Rect before = drags.selection(geometry);
        const Handle handle = drags.oneOf(handlesFor(geometry.ratio));
        const Rect resized = geometry.resize(before, handle, drags.point(geometry));
        ASSERT_TRUE(isProper(resized, geometry)) << "resized";
        const Rect moved = geometry.move(before, drags.between(-4000, 4000), drags.between(-4000, 4000));
        ASSERT_TRUE(isProper(moved, geometry)) << "moved";
        ASSERT_EQ(moved.size(), before.size());
        const auto side = [&] { return drags.coin() ? std::optional(drags.between(1, 5000)) : std::nullopt; };
        ASSERT_TRUE(isProper(geometry.resized(before, side(), side()), geometry, false)) << "typed";
        const Rect rounded = geometry.rounded(resized);
        ASSERT_EQ(geometry.rounded(rounded), rounded);
        ASSERT_TRUE(isProper(rounded, geometry, false));
        ASSERT_LT(rounded.width - resized.width, 2);
    }
}

TEST(SelectionGeometryTests, WhatIsDrawnReachesAsFarAsThereIsRoom) {
    Drags drags(11);
    for (int i = 0; i < 40000; ++i) {
        const SelectionGeometry geometry = drags.geometry();
        const Point from = geometry.clamped(drags.point(geometry));
        const Point to = geometry.clamped(drags.point(geometry));
        const Rect drawn = geometry.rect(from, to);
        ASSERT_EQ(geometry.shiftedInside(drawn).offsetBy(-drawn.x, -drawn.y).width, drawn.width);
        ASSERT_NEAR(geometry.shiftedInside(drawn).x, drawn.x, hair);
        ASSERT_NEAR(geometry.shiftedInside(drawn).y, drawn.y, hair);
        // It begins where the drag began, on the side of it to which the pointer went.
        ASSERT_NEAR(to.x < from.x ? drawn.maxX() : drawn.minX(), from.x, hair);
        ASSERT_NEAR(to.y < from.y ? drawn.maxY() : drawn.minY(), from.y, hair);
        if (!geometry.ratio) {
            ASSERT_NEAR(to.x < from.x ? drawn.minX() : drawn.maxX(), to.x, hair);
            continue;
        }
        ASSERT_NEAR(drawn.width, drawn.height * *geometry.ratio, hair);
        const double wanted = std::max(std::abs(to.x - from.x), std::abs(to.y - from.y) * *geometry.ratio);
        const bool touches = drawn.minX() <= hair || drawn.minY() <= hair ||
                             drawn.maxX() >= geometry.bounds.maxX() - hair ||
                             drawn.maxY() >= geometry.bounds.maxY() - hair;
        ASSERT_TRUE(touches || std::abs(drawn.width - wanted) < hair);
    }
}

TEST(SelectionGeometryTests, HandlesMoveTheirOwnEdges) {
    const SelectionGeometry free{{0, 0, 1000, 800}, std::nullopt};
    const Rect rect{100, 100, 200, 300};
    const struct {
        Handle handle;
        Point point;
        Handle opposite;
        Rect moved;  // to 150, 150
    } cases[] = {{Handle::topLeft, {100, 400}, Handle::bottomRight, {150, 100, 150, 50}},
                 {Handle::top, {200, 400}, Handle::bottom, {100, 100, 200, 50}},
                 {Handle::topRight, {300, 400}, Handle::bottomLeft, {100, 100, 50, 50}},
                 {Handle::right, {300, 250}, Handle::left, {100, 100, 50, 300}},
                 {Handle::bottomRight, {300, 100}, Handle::topLeft, {100, 150, 50, 250}},
                 {Handle::bottom, {200, 100}, Handle::top, {100, 150, 200, 250}},
                 {Handle::bottomLeft, {100, 100}, Handle::topRight, {150, 150, 150, 250}},
                 {Handle::left, {100, 250}, Handle::right, {150, 100, 150, 300}}};
    for (const auto& each : cases) {
        EXPECT_EQ(pointOf(each.handle, rect), each.point);
        EXPECT_EQ(opposite(each.handle), each.opposite);
        EXPECT_EQ(free.resize(rect, each.handle, {150, 150}), each.moved);
        EXPECT_EQ(free.resize(rect, each.handle, each.point), rect);
    }
    EXPECT_EQ(free.resize(rect, Handle::left, {900, 0}), (Rect{268, 100, 32, 300})) << "no further";
    EXPECT_THAT(handlesFor(1.0),
                ElementsAre(Handle::topLeft, Handle::topRight, Handle::bottomRight, Handle::bottomLeft));
}

TEST(SelectionGeometryTests, ShapesAndSizes) {
    const Rect screen{0, 0, 1600, 900};
    const auto with = [&](AspectPreset preset) { return SelectionGeometry{screen, ratioOf(preset)}; };
    const SelectionGeometry wide = with(AspectPreset::wide);
    EXPECT_EQ(wide.reshape({100, 100, 320, 500}), (Rect{100, 260, 320, 180})) << "about its middle";
    EXPECT_EQ(with(AspectPreset::square).reshape({0, 0, 1600, 900}), (Rect{350, 0, 900, 900}));
    EXPECT_EQ(with(AspectPreset::tall).reshape({1500, 0, 90, 100}), (Rect{1500, 0, 90, 160}));
    EXPECT_EQ(with(AspectPreset::custom).largestWithin(screen), screen);
    EXPECT_EQ(with(AspectPreset::square).largestWithin({10, 20, 400, 300}), (Rect{60, 20, 300, 300}));
    // The smallest of a shape keeps its corner, or as much of it as there is room for.
    EXPECT_EQ(wide.resize({100, 100, 320, 180}, Handle::topRight, {104, 101}),
              (Rect{100, 100, 32 * 16.0 / 9, 32}));

    const Rect now{100, 200, 320, 180};
    const SelectionGeometry free = with(AspectPreset::custom);
    EXPECT_EQ(free.resized(now, 400, std::nullopt), (Rect{100, 200, 400, 180}));
    EXPECT_EQ(free.resized(now, std::nullopt, 80), (Rect{100, 300, 320, 80})) << "from the top left";
    EXPECT_EQ(free.resized(now, 9999, 1), (Rect{0, 348, 1600, 32}));
    EXPECT_EQ(free.resized(now, std::nullopt, 600), (Rect{100, 0, 320, 600})) << "no lower than the screen";
    EXPECT_EQ(free.resized({1500, 200, 50, 50}, 300, std::nullopt), (Rect{1300, 200, 300, 50}));
    EXPECT_EQ(wide.resized(now, 160, std::nullopt), (Rect{100, 290, 160, 90}));
    EXPECT_EQ(wide.resized(now, std::nullopt, 90), (Rect{100, 290, 160, 90}));
}

TEST(SelectionGeometryTests, TheToolbarCoversNoHandle) {
    const Rect screen{0, 0, 1280, 800};
    const Size bar{720, 44};
    EXPECT_EQ(toolbarFrame({300, 300, 600, 200}, bar, screen), (Rect{240, 244, 720, 44}));
    EXPECT_EQ(toolbarFrame({300, 20, 600, 200}, bar, screen), (Rect{240, 232, 720, 44}));
    EXPECT_EQ(toolbarFrame(screen, bar, screen), (Rect{280, 12, 720, 44}));
    EXPECT_EQ(toolbarFrame({0, 300, 60, 60}, bar, screen), (Rect{12, 244, 720, 44}));
    EXPECT_EQ(toolbarFrame({1270, 300, 10, 60}, bar, screen), (Rect{548, 244, 720, 44}));
    Drags drags(5);
    for (int i = 0; i < 20000; ++i) {
        const SelectionGeometry geometry{screen, std::nullopt};
        const Rect selection = drags.selection(geometry);
        const Rect frame = toolbarFrame(selection, bar, screen);
        ASSERT_EQ(geometry.shiftedInside(frame), frame);
        for (const Handle each : allHandles) {
            const Point point = pointOf(each, selection);
            const Rect grip{point.x - 8, point.y - 8, 16, 16};
            ASSERT_TRUE(grip.intersection(frame).isEmpty()) << stringFromRect(selection);
        }
    }
}

TEST(EdgeSnappingTests, EdgesGoToLinesBesideThem) {
    const EdgeSnapping snapping({0, 0, 1000, 800}, {{200, 100, 300, 400}, {0, 0, 1000, 800}});
    const struct {
        Point free, snapped;
        const char* why;
    } points[] = {{{203, 300}, {200, 300}, "a window's edge"},
                  {{206, 95}, {200, 100}, "its corner, at the very reach"},
                  {{207, 300}, {207, 300}, "out of reach"},
                  {{203, 600}, {203, 600}, "the window is elsewhere"},
                  {{496, 402}, {500, 400}, "between a window's edge and the middles the nearest"},
                  {{2, 798}, {0, 800}, "the screen's corner"}};
    for (const auto& each : points)
        EXPECT_EQ(snapping.point(each.free), each.snapped) << each.why;
    EXPECT_EQ(snapping.moved({103, 300, 95, 50}), (Rect{105, 300, 95, 50})) << "the right edge";
    EXPECT_EQ(snapping.moved({4, 747, 50, 50}), (Rect{0, 750, 50, 50}));
    EXPECT_EQ(snapping.moved({60, 600, 50, 50}), (Rect{60, 600, 50, 50}));
}

SCWindow window(std::uint32_t id, Rect frame, std::int32_t process = 5) {
    SCWindow made;
    made.windowID = id;
    made.frame = frame;
    made.title = "Notes";
    made.owningApplication = SCRunningApplication{process, "Editor"};
    return made;
}

TEST(HoverTargetTests, WhatCanBeClickedOnADisplay) {
    const Rect display{1000, 200, 800, 600};
    SCWindow menu = window(3, {1100, 300, 200, 200});
    menu.windowLayer = 101;
    SCWindow invisible = window(4, {1100, 300, 200, 200});
    invisible.alpha = 0;
    SCWindow unnamed = window(8, {1000, 200, 800, 600});
    unnamed.title.reset();
    SCWindow nobodys = window(9, {1010, 210, 100, 100});
    nobodys.owningApplication.reset();
    const std::vector<SCWindow> windows{window(1, {1100, 300, 200, 150}),
                                        window(2, {900, 100, 300, 200}),
                                        menu,
                                        invisible,
                                        window(5, {1100, 300, 200, 150}, 77),
                                        window(6, {961, 300, 78, 100}),
                                        window(7, {0, 0, 4000, 4000}),
                                        unnamed,
                                        nobodys};
    EXPECT_THAT(hoverTargets(windows, display, 77),
                ElementsAre(HoverTarget{{100, 350, 200, 150}, "Notes — Editor", 1},
                            HoverTarget{{0, 500, 200, 100}, "Notes — Editor", 2},
                            HoverTarget{{0, 0, 800, 600}, "Notes — Editor", 7},
                            HoverTarget{{0, 0, 800, 600}, "Editor", 8},
                            HoverTarget{{10, 490, 100, 100}, "Notes", 9}));
}

}  // namespace
}  // namespace lumicrate::test
