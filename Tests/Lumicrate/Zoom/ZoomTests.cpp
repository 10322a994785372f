// SPDX-License-Identifier: GPL-3.0-or-later
// Zooms: blocks from clicks, the view at each time, and the copy that shows them.
#include "Lumicrate/Preview/ZoomBlocks.h"
#include "Lumicrate/Zoom/ZoomPlan.h"
#include "Lumicrate/Zoom/ZoomedCopy.h"
#include "Tests/Lumicrate/Movie/FakeAssets.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>

namespace lumicrate::test {
namespace {

using testing::ElementsAre;

constexpr double ease = ZoomPlan::easeTime;

RecordedInput at(double seconds, double x, double y, RecordedInput::Kind kind = RecordedInput::Kind::press) {
    return {kind, CMTime::fromSeconds(seconds), {x, y}, 1, ""};
}
RecordedInput pointer(double seconds, double x, double y) {
    return at(seconds, x, y, RecordedInput::Kind::pointer);
}

struct Expected {
    double start, end;
    Point centre;
};

TEST(ZoomBlockTests, FollowFromClicks) {
    const double duration = 20;
    const struct {
        const char* what;
        std::vector<RecordedInput> input;
        std::vector<Expected> blocks;
    } cases[] = {
        {"none", {pointer(1, 0.5, 0.5)}, {}},
        {"outside the picture", {at(1, -0.1, 0.5), at(2, 0.5, 1.01)}, {}},
        {"one", {at(5, 0.3, 0.4)}, {{4.4, 7.6, {0.3, 0.4}}}},
        {"in the first instant", {at(0.2, 0.3, 0.4)}, {{0, 2.8, {0.3, 0.4}}}},
        {"in the last instant", {at(19.8, 0.3, 0.4)}, {{19.2, 20, {0.3, 0.4}}}},
        {"after the end", {at(20.5, 0.3, 0.4)}, {}},
        {"near in time and place", {at(5, 0.3, 0.4), at(8.5, 0.5, 0.2)}, {{4.4, 11.1, {0.4, 0.3}}}},
        {"near in place only",
         {at(3, 0.3, 0.4), at(8, 0.3, 0.4)},
         {{2.4, 5.6, {0.3, 0.4}}, {7.4, 10.6, {0.3, 0.4}}}},
        {"near in time only",
         {at(5, 0.1, 0.1), at(6, 0.9, 0.9)},
         {{4.4, 5.4, {0.1, 0.1}}, {5.4, 8.6, {0.9, 0.9}}}},
        {"almost at once, far apart",
         {at(5, 0.1, 0.1), at(5.1, 0.9, 0.9), at(5.2, 0.1, 0.1)},
         {{4.4, 5, {0.1, 0.1}}, {5, 5.6, {0.9, 0.9}}, {5.6, 8.2, {0.1, 0.1}}}},
    };
    for (const auto& each : cases) {
        SCOPED_TRACE(each.what);
        const std::vector<ZoomBlock> blocks = zoomBlocks(each.input, duration, {});
        ASSERT_EQ(blocks.size(), each.blocks.size());
        for (std::size_t i = 0; i < blocks.size(); ++i) {
            EXPECT_NEAR(blocks[i].start, each.blocks[i].start, 1e-6);
            EXPECT_NEAR(blocks[i].end, each.blocks[i].end, 1e-6);
            EXPECT_NEAR(blocks[i].centre.x, each.blocks[i].centre.x, 1e-6);
            EXPECT_NEAR(blocks[i].centre.y, each.blocks[i].centre.y, 1e-6);
            EXPECT_EQ(blocks[i].scale, 2);
        }
    }
    EXPECT_NEAR(zoomBlocks({at(5, 0.3, 0.4)}, duration, {.scale = 3, .hold = 4})[0].end, 9.6, 1e-6);
}

void expectView(const Rect& found, const Rect& expected) {
    EXPECT_NEAR(found.x, expected.x, 1e-9);
    EXPECT_NEAR(found.y, expected.y, 1e-9);
    EXPECT_NEAR(found.width, expected.width, 1e-9);
    EXPECT_EQ(found.width, found.height);
}

TEST(ZoomPlanTests, EasesByTheFormulaAtEveryTime) {
    const ZoomPlan plan({{2, 6, 2, {0.4, 0.1}}}, 10);
    for (int i = 0; i < 100; ++i) {
        const double time = i * 0.08;
        SCOPED_TRACE(time);
        const double u = std::clamp(std::min(time - 2, 6 - time) / ease, 0.0, 1.0);
        const double part = 3 * u * u - 2 * u * u * u;
        // The view at rest is 0.15 … 0.65 by 0 … 0.5: it stays within the picture.
        expectView(plan.viewAt(time), {0.15 * part, 0, 1 - 0.5 * part, 1 - 0.5 * part});
    }
    for (const double rest : {0.0, 2.0, 6.0, 7.0, 10.0})
        EXPECT_EQ(plan.viewAt(rest), (Rect{0, 0, 1, 1})) << rest;
}

TEST(ZoomPlanTests, JoinsReachesTheEndAndShortensTheEaseOfShortBlocks) {
    const Rect left{0, 0, 0.5, 0.5};
    const Rect right{0.5, 0.5, 0.5, 0.5};
    const Rect half{0.25, 0.25, 0.5, 0.5};
    const Rect whole{0, 0, 1, 1};
    const ZoomBlock first{1, 3, 2, {0, 0}};
    const struct {
        std::vector<ZoomBlock> blocks;
        double time;
        Rect view;
    } cases[] = {
        {{first, {3.5, 6, 2, {1, 1}}}, 3.2, left},                        // waits for the next block
        {{first, {3.5, 6, 2, {1, 1}}}, 3.5 + ease / 2, half},             // and pans to it
        {{first, {3.5, 6, 2, {1, 1}}}, 3.5 + ease, right},                //
        {{first, {3 + ease, 6, 2, {1, 1}}}, 3, whole},                    // just too far
        {{first, {8, 10, 2, {1, 1}}}, 9.9, right},                        // stays to the end
        {{{1, 2 - ease, 2, {0, 0}}}, 1 + (1 - ease) / 2, left},           // arrives in half its time
        {{{1, 2 - ease, 2, {0, 0}}}, 2 - ease, whole},                    //
        {{{1, 3, 4, {0, 0}}, {3, 5, 2, {0, 0}}}, 3, {0, 0, 0.25, 0.25}},  // only the scale changes
        {{{1, 3, 4, {0, 0}}, {3, 5, 2, {0, 0}}}, 3 + ease, left},
    };
    for (const auto& each : cases) {
        SCOPED_TRACE(each.time);
        expectView(ZoomPlan(each.blocks, 10).viewAt(each.time), each.view);
    }
}

TEST(ZoomPlanTests, FollowsThePointerWhereItWillBe) {
    // At 4 s the pointer comes near the border, moves on until 4.3 s, and stays.
    const std::vector<RecordedInput> input{pointer(0, 0.3, 0.3), pointer(4, 0.47, 0.3),
                                           pointer(4.3, 0.7, 0.6)};
    const ZoomPlan plan({{2, 8, 2, {0.25, 0.25}}}, 10, input);
    expectView(plan.viewAt(4), {0, 0, 0.5, 0.5});
    expectView(plan.viewAt(4 + ease / 2), {0.225, 0.175, 0.5, 0.5});
    expectView(plan.viewAt(4 + ease), {0.45, 0.35, 0.5, 0.5});
    EXPECT_EQ(plan.viewAt(8), (Rect{0, 0, 1, 1}));
    // At the picture's border there is nothing to follow to.
    const ZoomPlan corner({{2, 8, 2, {0.9, 0.9}}}, 10, {pointer(0, 0.9, 0.9), pointer(4, 1, 1)});
    expectView(corner.viewAt(5), {0.5, 0.5, 0.5, 0.5});
}

TEST(ZoomPlanTests, NeverJumpsNorLeavesThePicture) {
    std::vector<RecordedInput> input;
    std::uint32_t random = 1;
    const auto next = [&random] { return (random = random * 1664525 + 1013904223) / 4294967296.0; };
    for (double time = 0; time < 60; time += 0.05 + next() * next()) {
        const auto kind = next() < 0.1 ? RecordedInput::Kind::press : RecordedInput::Kind::pointer;
        input.push_back(at(time, next(), next(), kind));
    }
    const std::vector<ZoomBlock> blocks = zoomBlocks(input, 60, {.scale = 2.5});
    ASSERT_GT(blocks.size(), 10U);
    const ZoomPlan plan(blocks, 60, input);
    Rect last = plan.viewAt(0);
    for (double time = 0; time < 60; time += 0.01) {
        const Rect view = plan.viewAt(time);
        EXPECT_GE(std::min(view.x, view.y), -1e-12);
        EXPECT_LE(std::max(view.maxX(), view.maxY()), 1 + 1e-12);
        // The steepest part of the ease, over the whole picture.
        EXPECT_LE(std::max(std::abs(view.x - last.x), std::abs(view.y - last.y)), 1.5 / ease * 0.01 + 1e-9);
        last = view;
    }
}

TEST(ZoomBlocksTests, EditsKeepBlocksApartAndInsideTheRecording) {
    ZoomBlocks zoom;
    const auto blocks = [&zoom] {
        std::vector<std::pair<double, double>> times;
        for (const ZoomBlock& each : (*zoom.state)->blocks)
            times.emplace_back(std::round(each.start * 100) / 100, std::round(each.end * 100) / 100);
        return times;
    };
    zoom.add(1);
    EXPECT_FALSE(zoom.isEditing());
    zoom.begin({at(2, 0.3, 0.4), at(8, 0.6, 0.7), pointer(14, 0.9, 0.1)}, 20);
    using Times = std::vector<std::pair<double, double>>;
    EXPECT_EQ(blocks(), (Times{{1.4, 4.6}, {7.4, 10.6}}));
    const struct {
        const char* what;
        std::function<void()> edit;
        Times expected;
        std::optional<std::size_t> selected;
    } edits[] = {
        {"moves", [&] { zoom.moveTo(0, 2); }, {{2, 5.2}, {7.4, 10.6}}, 0},
        {"stops at its neighbour", [&] { zoom.moveTo(0, 6); }, {{4.2, 7.4}, {7.4, 10.6}}, 0},
        {"stops at the beginning", [&] { zoom.moveTo(0, -1); }, {{0, 3.2}, {7.4, 10.6}}, 0},
        {"stops at the end", [&] { zoom.moveTo(1, 30); }, {{0, 3.2}, {16.8, 20}}, 1},
        {"begins at its neighbour's end", [&] { zoom.setStart(1, 1); }, {{0, 3.2}, {3.2, 20}}, 1},
        {"keeps a length", [&] { zoom.setStart(1, 25); }, {{0, 3.2}, {19.5, 20}}, 1},
        {"ends", [&] { zoom.setEnd(0, -5); }, {{0, 0.5}, {19.5, 20}}, 0},
        {"adds between", [&] { zoom.add(15); }, {{0, 0.5}, {14.4, 17.6}, {19.5, 20}}, 1},
        {"adds what fits", [&] { zoom.add(18.5); }, {{0, 0.5}, {14.4, 17.6}, {17.9, 19.5}, {19.5, 20}}, 2},
        {"has no room", [&] { zoom.add(19.7); }, {{0, 0.5}, {14.4, 17.6}, {17.9, 19.5}, {19.5, 20}}, 2},
        {"removes", [&] { zoom.remove(2); }, {{0, 0.5}, {14.4, 17.6}, {19.5, 20}}, std::nullopt},
        {"has no such block", [&] { zoom.remove(3); }, {{0, 0.5}, {14.4, 17.6}, {19.5, 20}}, std::nullopt},
        {"scales", [&] { zoom.stepScale(1, 2); }, {{0, 0.5}, {14.4, 17.6}, {19.5, 20}}, 1},
    };
    for (const auto& each : edits) {
        each.edit();
        EXPECT_EQ(blocks(), each.expected) << each.what;
        EXPECT_EQ((*zoom.state)->selected, each.selected) << each.what;
    }
    EXPECT_EQ((*zoom.state)->blocks[1].scale, 3);
    EXPECT_EQ((*zoom.state)->blocks[1].centre, (Point{0.9, 0.1})) << "where the pointer was";
    zoom.end();
    EXPECT_EQ(zoom.plan().viewAt(16), (Rect{0, 0, 1, 1}));
}

TEST(ZoomedCopyTests, NamesTheCopyAndLeavesNothingBehind) {
    FakeFiles files;
    files.existing = {"/m/a.mov"};
    const FakeComposition composition(files);
    const ZoomedCopy copy(composition, files);
    const ZoomPlan plan({{1, 5, 2, {0, 0}}}, 10);
    EXPECT_EQ(copy.save("/m/a.mov", {}, plan, {}), "/m/a_zoom.mov");
    EXPECT_EQ(composition.made.back(), std::pair(Rect{0, 0, 0.5, 0.5}, AVFileType::quickTimeMovie));
    EXPECT_EQ(copy.save("/m/a.mov", {}, plan, {}), "/m/a_zoom_2.mov");
    EXPECT_EQ(copy.save("/m/a.mov", "/m/own.mp4", plan, {}), "/m/own.mp4");
    EXPECT_EQ(composition.made.back().second, AVFileType::mpeg4);
    const auto before = files.existing;
    EXPECT_THAT(before, ElementsAre("/m/a.mov", "/m/a_zoom.mov", "/m/a_zoom_2.mov", "/m/own.mp4"));
    EXPECT_THROW(copy.save("/m/a.mov", "/m/own.mp4", plan, {}), LocalizedError);
    FakeAssets assets{files};
    assets.summaries["/m/a.mov"] = {10, Size{640, 480}, "avc1", 1};
    EXPECT_THROW(zoomPlanOf(assets, "/m/a.mov", {}), LocalizedError);
    assets.input = {at(3, 0.5, 0.5)};
    EXPECT_EQ(zoomPlanOf(assets, "/m/a.mov", {.scale = 4}).viewAt(3).width, 0.25);
    std::stop_source stop;
    stop.request_stop();
    EXPECT_THROW(copy.save("/m/a.mov", {}, plan, {nullptr, stop.get_token()}), CancelledError);
    EXPECT_EQ(files.existing, before);
}

}  // namespace
}  // namespace lumicrate::test
