// SPDX-License-Identifier: GPL-3.0-or-later
// The overlays of a recording, without widgets: countdown, control bar and click highlighter.
#include "Tests/Lumicrate/Recording/RecorderFixture.h"

namespace lumicrate::test {
namespace {

const NSScreen main{1, {0, 0, 1920, 1080}, {0, 40, 1920, 1016}, 1, "main"};
const NSScreen second{2, {1920, 480, 800, 600}, {1920, 480, 800, 600}, 1, "second"};

class OverlayTests : public RecorderFixture {
 protected:
    OverlayTests() { screens.all = {main, second}; }
    const NSPanel::Settings& panel() { return contents.last().settings; }
};

class CountdownTests : public OverlayTests {
 protected:
    void run(int seconds, std::optional<NSScreen> screen = second) {
        counting = RunningTask(executor, collect(countdown.run(seconds, std::move(screen)), results));
        executor.drain();
    }

    RunningTask counting;
    std::vector<bool> results;
};

TEST_F(CountdownTests, ShowsEachNumberForASecond) {
    run(3);
    EXPECT_EQ(panel().frame, (Rect{2220, 680, 200, 200}));
    EXPECT_EQ(panel().level, 1000);
    EXPECT_TRUE(panel().ignoresMouseEvents);
    EXPECT_EQ(contents.countdownModel->cancelHint, "⌥⌘R to cancel");
    for (const int shown : {3, 2, 1}) {
        executor.advance(999ms);
        EXPECT_EQ(*contents.countdownModel->value, shown);
        EXPECT_TRUE(contents.shownPanels() == 1 && results.empty());
        executor.advance(1ms);
    }
    EXPECT_EQ(contents.shownPanels(), 0U);
    countdown.finish(false);
    executor.drain();
    EXPECT_THAT(results, ElementsAre(true));
}

TEST_F(CountdownTests, FollowsItsScreen) {
    run(3);
    screens.all[1].frame = {1920, 0, 400, 400};
    screens.changes.notify();
    EXPECT_EQ(panel().frame, (Rect{2020, 100, 200, 200}));
}

TEST_F(CountdownTests, EndsOnceAndOnlyTheLatest) {
    run(3);
    executor.advance(1500ms);
    countdown.finish(false);
    EXPECT_EQ(contents.shownPanels(), 0U) << "at once";
    executor.advance(5s);
    run(0);
    EXPECT_THAT(results, ElementsAre(false, true));
    EXPECT_TRUE(contents.last().shown && contents.last().gone);
    run(3);
    run(2);
    EXPECT_EQ(contents.shownPanels(), 1U);
    counting.cancel();
    EXPECT_EQ(contents.shownPanels(), 0U) << "nothing waits for the run";
    EXPECT_EQ(executor.pendingTimers(), 0U);
}

TEST_F(CountdownTests, WorksWithoutScreenAndShortcut) {
    defaults.stored["shortcut.toggle"] = "off";
    run(1, std::nullopt);
    EXPECT_EQ(panel().frame, (Rect{860, 440, 200, 200})) << "on the main screen";
    EXPECT_EQ(contents.countdownModel->cancelHint, "");
    screens.all.clear();
    run(1, std::nullopt);
    EXPECT_EQ(panel().frame, (Rect{-100, -100, 200, 200}));
}

class ClickHighlighterTests : public OverlayTests {
 protected:
    const std::vector<ClickRing>& rings() const { return *contents.ringsModel->rings; }
    void click(Point at, bool secondary = false) {
        screens.pointer = at;
        clickMonitoring.press(secondary);
    }
};

TEST_F(ClickHighlighterTests, RingSpreadsAndFades) {
    clickHighlighter.show(second);
    EXPECT_EQ(panel().level, 1000);
    EXPECT_TRUE(panel().ignoresMouseEvents);
    EXPECT_EQ(executor.pendingTimers(), 0U);
    click({2000, 600}, true);
    EXPECT_THAT(rings(), ElementsAre(ClickRing{{31, 31}, 46 * 0.4, 3 * 0.4, 1, true}));
    EXPECT_EQ(panel().frame, (Rect{1969, 569, 62, 62}));
    // After half of the time the curve is at 0.68.
    executor.advance(272ms);
    EXPECT_NEAR(rings()[0].diameter, 46 * (0.4 + 0.85 * 0.68), 0.5);
    EXPECT_NEAR(rings()[0].opacity, 1 - 0.68, 0.01);
    executor.advance(270ms);
    EXPECT_GT(rings()[0].diameter, 46 * 1.24);
    EXPECT_LT(rings()[0].opacity, 0.01);
    executor.advance(20ms);
    EXPECT_TRUE(rings().empty());
    EXPECT_EQ(panel().frame.area(), 1);
    EXPECT_EQ(executor.pendingTimers(), 0U) << "no timer without clicks";

    clickHighlighter.setReducedMotion(true);
    click({2000, 600});
    EXPECT_THAT(rings(), ElementsAre(ClickRing{{31, 31}, 46, 3, 1, false}));
    executor.advance(500ms);
    EXPECT_THAT(rings(), ElementsAre(ClickRing{{31, 31}, 46, 3, 1, false}));
    executor.advance(60ms);
    EXPECT_TRUE(rings().empty());
}

TEST_F(ClickHighlighterTests, OnePanelHoldsAllRings) {
    clickHighlighter.show(main);
    click({100, 100});
    executor.advance(300ms);
    click({400, 300});
    executor.advance(16ms);
    const Rect both{69, 69, 362, 262};
    EXPECT_EQ(panel().frame, both);
    EXPECT_EQ(rings().at(1).center, (Point{331, 231}));
    executor.advance(300ms);
    EXPECT_EQ(rings().size(), 1U);
    EXPECT_EQ(panel().frame, both) << "does not move under a ring";
    EXPECT_EQ(contents.panels.size(), 1U);
}

TEST_F(ClickHighlighterTests, OnlyOnTheRecordedScreenAndWhileShown) {
    clickHighlighter.show(main);
    clickHighlighter.show(second);
    EXPECT_EQ(clickMonitoring.monitors + contents.shownPanels(), 2U);
    EXPECT_EQ(clickHighlighter.windowNumber(), 2U);
    click({100, 100});
    EXPECT_TRUE(rings().empty());
    click({2000, 600});
    EXPECT_EQ(rings().size(), 1U);
    clickHighlighter.hide();
    EXPECT_EQ(clickMonitoring.monitors + contents.shownPanels() + executor.pendingTimers(), 0U);
    EXPECT_FALSE(clickHighlighter.windowNumber());
}

TEST(ControlBarPlacementTests, BelowTheAreaOrInside) {
    const Rect visible{0, 40, 1920, 1016};
    const struct {
        const char* what;
        std::optional<Rect> area;
        double width;
        Point origin;
    } cases[] = {{"no area", std::nullopt, 200, {860, 56}},
                 {"below", Rect{400, 500, 300, 200}, 200, {450, 448}},
                 {"just room below", Rect{400, 104, 300, 200}, 200, {450, 52}},
                 {"inside", Rect{400, 103, 300, 200}, 200, {450, 115}},
                 {"at the bottom", Rect{400, 0, 300, 200}, 200, {450, 52}},
                 {"on another screen", Rect{1920, 500, 300, 200}, 200, {860, 56}},
                 {"at the left edge", Rect{-200, 500, 300, 200}, 200, {12, 448}},
                 {"at the right edge", Rect{1900, 500, 300, 200}, 200, {1708, 448}},
                 {"very wide", Rect{1500, 500, 300, 200}, 1900, {12, 448}},
                 {"wider than the screen", std::nullopt, 3000, {12, 56}}};
    for (const auto& [what, area, width, origin] : cases)
        EXPECT_EQ(controlBarFrame({width, 40}, visible, area), (Rect{origin.x, origin.y, width, 40})) << what;
}

TEST(ControlBarPlacementTests, MovedBarStaysVisible) {
    const std::pair<Point, Point> cases[] = {
        {{300, 300}, {300, 300}},   {{-50, 300}, {0, 300}},     {{300, 0}, {300, 40}},
        {{1850, 700}, {1850, 700}}, {{1850, 300}, {1720, 300}}, {{5000, 5000}, {2520, 1040}},
        {{2000, 460}, {2000, 480}},
    };
    for (const auto& [wanted, kept] : cases)
        EXPECT_EQ(keptOnScreens({wanted.x, wanted.y, 200, 40}, {main, second}),
                  (Rect{kept.x, kept.y, 200, 40}));
    EXPECT_EQ(keptOnScreens({5, 6, 7, 8}, {}), (Rect{5, 6, 7, 8}));
}

class ControlBarTests : public OverlayTests {
 protected:
    ControlBarTests() {
        overlays.controlBar = &controlBar;
        make();
    }
    const ControlBarModel::Content& content() const { return *contents.barModel->content; }
};

TEST_F(ControlBarTests, MirrorsTheRecordingFromStartToEnd) {
    record();
    EXPECT_EQ(panel().frame, (Rect{860, 56, 200, 40}));
    EXPECT_TRUE(panel().hasShadow);
    EXPECT_EQ(content().pauseHelp, "Pause (⌥⌘P)");
    EXPECT_EQ(content().stopHelp, "Stop (⌥⌘R)");
    EXPECT_TRUE(content().canPause && content().canStop && content().canMute && !content().showsMicrophone);
    executor.advance(65s);
    EXPECT_EQ(content().elapsed, "01:05");
    defaults.set("shortcut.pause", "off");
    EXPECT_EQ(content().pauseHelp, "Pause");
    contents.barModel->togglePause();
    EXPECT_TRUE(content().paused);
    EXPECT_EQ(content().pauseHelp, "Resume");
    executor.advance(65s);
    EXPECT_EQ(content().elapsed, "01:05");
    contents.barModel->stop();
    executor.drain();
    EXPECT_EQ(contents.shownPanels(), 0U);
    EXPECT_FALSE(controlBar.windowNumber());
    complete();
    EXPECT_EQ(*recorder->state, State::idle);
    EXPECT_FALSE(recorder->elapsed.isObserved()) << "a hidden bar observes nothing";
}

TEST_F(ControlBarTests, HasAMicrophoneOnlyIfOneIsRecorded) {
    RecordingOptions options = RecordingOptions::current(defaults);
    options.captureMicrophone = true;
    recorder->setOptionsOverride(options);
    record();
    EXPECT_TRUE(content().showsMicrophone);
    EXPECT_EQ(content().microphoneHelp, "Mute microphone");
    recorder->microphoneLevel = 0.25F;
    EXPECT_EQ(content().level, 0.25F);
    contents.barModel->toggleMicrophoneMute();
    EXPECT_TRUE(content().muted);
    EXPECT_EQ(content().microphoneHelp, "Unmute microphone");
    EXPECT_TRUE(*recorder->microphoneMuted);
}

TEST_F(ControlBarTests, FollowsAWindowAndTheUser) {
    controlBar.show(main, Rect{400, 500, 300, 200});
    controlBar.show(second, std::nullopt);
    EXPECT_EQ(contents.panels.size(), 1U) << "one at a time";
    const auto origin = [this] { return Point{panel().frame.x, panel().frame.y}; };
    controlBar.moveBy(-500, 10);
    EXPECT_EQ(origin(), (Point{0, 458})) << "stops at the edge";
    controlBar.moveBy(500, -10);
    EXPECT_EQ(origin(), (Point{450, 448})) << "and returns";
    panel().onDrag({-30, 600});
    EXPECT_EQ(origin(), (Point{0, 600}));
    controlBar.moveBy(10, 10);
    EXPECT_EQ(origin(), (Point{10, 610})) << "relative to where the user left it";
    controlBar.setRecorder(nullptr);
    controlBar.moveBy(10, 10);
    controlBar.show(main, std::nullopt);
    EXPECT_EQ(contents.panels.size(), 1U) << "no recorder";
}

}  // namespace
}  // namespace lumicrate::test
