// The overlays of a recording: countdown, control bar, click highlighter and area frame, without widgets.
#include "Lumicrate/Overlays/AreaFrame.h"
#include "Lumicrate/Overlays/ClickHighlighter.h"
#include "Lumicrate/Overlays/ControlBarController.h"
#include "Lumicrate/Overlays/CountdownController.h"
#include "Tests/Lumicrate/Overlays/FakeOverlayContents.h"
#include "Tests/Lumicrate/Recording/RecorderFixture.h"

namespace lumicrate::test {
namespace {

const NSScreen main{1, {0, 0, 1920, 1080}, {0, 40, 1920, 1016}, 1, "main"};
const NSScreen second{2, {1920, 480, 800, 600}, {1920, 480, 800, 600}, 1, "second"};

class OverlayModelTests : public RecorderFixture {
 protected:
    OverlayModelTests() { screens.all = {main, second}; }

    FakeOverlayContents contents;
};

class CountdownTests : public OverlayModelTests {
 protected:
    void run(int seconds, std::optional<NSScreen> screen = second) {
        counting = RunningTask(executor, awaitRun(seconds, std::move(screen)));
        executor.drain();
    }
    Task<void> awaitRun(int seconds, std::optional<NSScreen> screen) {
        Task<bool> running = countdown.run(seconds, std::move(screen));
        const bool result = co_await running;
        results.push_back(result);
    }
    int value() const { return *contents.countdownModel->value; }

    CountdownController countdown{executor, screens, defaults, contents};
    RunningTask counting;
    std::vector<bool> results;
};

TEST_F(CountdownTests, ShowsEachNumberForASecond) {
    run(3);
    const NSPanel::Settings& panel = contents.last().settings;
    EXPECT_EQ(panel.frame, (Rect{2220, 680, 200, 200}));
    EXPECT_EQ(panel.level, 1000);
    EXPECT_TRUE(panel.ignoresMouseEvents);
    EXPECT_EQ(contents.countdownModel->cancelHint, "⌥⌘R to cancel");
    for (const int shown : {3, 2, 1}) {
        EXPECT_EQ(value(), shown);
        executor.advance(999ms);
        EXPECT_EQ(value(), shown);
        EXPECT_EQ(contents.shownPanels(), 1U);
        EXPECT_TRUE(results.empty());
        executor.advance(1ms);
    }
    EXPECT_THAT(results, testing::ElementsAre(true));
    EXPECT_EQ(contents.shownPanels(), 0U);
    countdown.finish(false);
    executor.drain();
    EXPECT_EQ(results.size(), 1U);
}

TEST_F(CountdownTests, EndsOnceHoweverItEnds) {
    run(3);
    executor.advance(1500ms);
    countdown.finish(false);
    EXPECT_EQ(contents.shownPanels(), 0U) << "at once";
    executor.advance(5s);
    EXPECT_THAT(results, testing::ElementsAre(false));

    run(0);
    EXPECT_THAT(results, testing::ElementsAre(false, true));
    EXPECT_TRUE(contents.last().shown && contents.last().gone);

    run(3);
    run(2);
    EXPECT_EQ(contents.shownPanels(), 1U);
    counting.cancel();
    EXPECT_EQ(contents.shownPanels(), 0U) << "nobody waits for it";
    EXPECT_EQ(executor.pendingTimers(), 0U);
}

TEST_F(CountdownTests, ManagesWithoutScreenAndShortcut) {
    defaults.stored["shortcut.toggle"] = "off";
    run(1, std::nullopt);
    EXPECT_EQ(contents.last().settings.frame, (Rect{860, 440, 200, 200})) << "of the main screen";
    EXPECT_EQ(contents.countdownModel->cancelHint, "");
    screens.all.clear();
    run(1, std::nullopt);
    EXPECT_EQ(contents.last().settings.frame, (Rect{-100, -100, 200, 200}));
}

TEST_F(OverlayModelTests, TheAreaFrameLiesJustOutsideOfTheArea) {
    AreaFrame frame(contents);
    EXPECT_FALSE(frame.windowNumber());
    frame.show({10, 20, 300, 200}, second);
    frame.show({0, 0, 800, 600}, second);
    EXPECT_EQ(contents.shownPanels(), 1U);
    EXPECT_EQ(contents.panels[0]->settings.frame, (Rect{1926, 856, 308, 208}));
    EXPECT_EQ(contents.last().settings.frame, (Rect{1916, 476, 808, 608}));
    EXPECT_EQ(contents.last().settings.level, 25);
    EXPECT_TRUE(contents.last().settings.ignoresMouseEvents);
    EXPECT_EQ(frame.windowNumber(), 2U);
    frame.hide();
    EXPECT_EQ(contents.shownPanels(), 0U);
}

class ClickHighlighterTests : public OverlayModelTests {
 protected:
    const std::vector<ClickRing>& rings() const { return *contents.ringsModel->rings; }
    void click(Point at, bool secondary = false) {
        screens.pointer = at;
        mouse.press(secondary);
    }

    FakeMouse mouse;
    ClickHighlighter highlighter{executor, screens, mouse, contents};
};

TEST_F(ClickHighlighterTests, ARingSpreadsAndFades) {
    highlighter.show(second);
    EXPECT_EQ(contents.last().settings.level, 1000);
    EXPECT_TRUE(contents.last().settings.ignoresMouseEvents);
    EXPECT_EQ(executor.pendingTimers(), 0U);
    click({2000, 600}, true);
    ASSERT_EQ(rings().size(), 1U);
    EXPECT_EQ(rings()[0], (ClickRing{{31, 31}, 46 * 0.4, 3 * 0.4, 1, true}));
    EXPECT_EQ(contents.last().settings.frame, (Rect{1969, 569, 62, 62}));

    // Fast at first: the curve is at 0.68 where half of the time has passed.
    executor.advance(272ms);
    EXPECT_NEAR(rings()[0].diameter, 46 * (0.4 + 0.85 * 0.68), 0.5);
    EXPECT_NEAR(rings()[0].opacity, 1 - 0.68, 0.01);
    executor.advance(270ms);
    EXPECT_GT(rings()[0].diameter, 46 * 1.24);
    EXPECT_LT(rings()[0].opacity, 0.01);
    executor.advance(20ms);
    EXPECT_TRUE(rings().empty());
    EXPECT_EQ(contents.last().settings.frame.area(), 1);
    EXPECT_EQ(executor.pendingTimers(), 0U) << "nothing runs while nothing is clicked";
}

TEST_F(ClickHighlighterTests, OnePanelHoldsAllRings) {
    highlighter.show(main);
    click({100, 100});
    executor.advance(300ms);
    click({400, 300});
    executor.advance(16ms);
    const Rect both{69, 69, 362, 262};
    EXPECT_EQ(contents.last().settings.frame, both);
    ASSERT_EQ(rings().size(), 2U);
    EXPECT_EQ(rings()[1].center, (Point{331, 231}));
    executor.advance(300ms);
    EXPECT_EQ(rings().size(), 1U);
    EXPECT_EQ(contents.last().settings.frame, both) << "does not move under a ring";
    EXPECT_EQ(contents.panels.size(), 1U);
}

TEST_F(ClickHighlighterTests, OnlyTheRecordedScreenAndOnlyWhileShown) {
    highlighter.show(main);
    highlighter.show(second);
    EXPECT_EQ(mouse.monitors, 1);
    EXPECT_EQ(contents.shownPanels(), 1U);
    EXPECT_EQ(highlighter.windowNumber(), 2U);
    click({100, 100});
    EXPECT_TRUE(rings().empty());
    click({2000, 600});
    EXPECT_EQ(rings().size(), 1U);
    highlighter.hide();
    EXPECT_EQ(mouse.monitors, 0);
    EXPECT_EQ(contents.shownPanels(), 0U);
    EXPECT_EQ(executor.pendingTimers(), 0U);
    EXPECT_FALSE(highlighter.windowNumber());
}

TEST(ControlBarPlacementTests, GoesBelowTheAreaOrInside) {
    const Rect visible{0, 40, 1920, 1016};
    const struct {
        const char* what;
        std::optional<Rect> area;
        Size bar;
        Point origin;
    } cases[] = {
        {"no area", std::nullopt, {200, 40}, {860, 56}},
        {"below", Rect{400, 500, 300, 200}, {200, 40}, {450, 448}},
        {"just room below", Rect{400, 104, 300, 200}, {200, 40}, {450, 52}},
        {"inside", Rect{400, 103, 300, 200}, {200, 40}, {450, 115}},
        {"to the very bottom", Rect{400, 0, 300, 200}, {200, 40}, {450, 52}},
        {"on another screen", Rect{1920, 500, 300, 200}, {200, 40}, {860, 56}},
        {"at the left edge", Rect{-200, 500, 300, 200}, {200, 40}, {12, 448}},
        {"at the right edge", Rect{1900, 500, 300, 200}, {200, 40}, {1708, 448}},
        {"a very wide bar", Rect{1500, 500, 300, 200}, {1900, 40}, {12, 448}},
        {"a wider one than there is room for", std::nullopt, {3000, 40}, {12, 56}},
    };
    for (const auto& [what, area, bar, origin] : cases)
        EXPECT_EQ(controlBarFrame(bar, visible, area), (Rect{origin.x, origin.y, bar.width, bar.height}))
            << what;
}

TEST(ControlBarPlacementTests, AMovedBarStaysVisible) {
    const std::vector<NSScreen> both{main, second};
    const struct {
        Point wanted;
        Point kept;
    } cases[] = {
        {{300, 300}, {300, 300}},   {{-50, 300}, {0, 300}},     {{300, 0}, {300, 40}},
        {{1850, 700}, {1850, 700}}, {{1850, 300}, {1720, 300}}, {{5000, 5000}, {2520, 1040}},
        {{2000, 460}, {2000, 480}},
    };
    for (const auto& [wanted, kept] : cases) {
        EXPECT_EQ(keptOnScreens({wanted.x, wanted.y, 200, 40}, both), (Rect{kept.x, kept.y, 200, 40}))
            << wanted.x << ", " << wanted.y;
    }
    EXPECT_EQ(keptOnScreens({5, 6, 7, 8}, {}), (Rect{5, 6, 7, 8}));
}

class ControlBarTests : public OverlayModelTests {
 protected:
    ControlBarTests() {
        overlays.controlBar = &bar;
        bar.setRecorder(&make());
        defaults.stored["recordMicrophone"] = true;
    }
    void TearDown() override {
        bar.setRecorder(nullptr);
        OverlayModelTests::TearDown();
    }
    const ControlBarModel::Content& content() const { return *contents.barModel->content; }

    ControlBarController bar{screens, defaults, contents};
};

TEST_F(ControlBarTests, MirrorsTheRecordingFromItsStartToItsEnd) {
    startWith(CaptureSource::display(1));
    ASSERT_EQ(contents.shownPanels(), 1U);
    EXPECT_EQ(contents.last().settings.frame, (Rect{860, 56, 200, 40}));
    EXPECT_TRUE(contents.last().settings.hasShadow);
    deliverFrame();
    EXPECT_EQ(content().elapsed, "00:00");
    EXPECT_EQ(content().pauseHelp, "Pause (⌥⌘P)");
    EXPECT_EQ(content().stopHelp, "Stop (⌥⌘R)");
    EXPECT_TRUE(content().canPause && content().canStop && content().canMute);
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
    EXPECT_FALSE(bar.windowNumber());
    complete();
    EXPECT_EQ(*recorder->state, State::idle);
    EXPECT_FALSE(recorder->elapsed.isObserved()) << "a bar that is gone costs nothing";
}

TEST_F(ControlBarTests, HasAMicrophoneOnlyWhereOneIsRecorded) {
    record();
    EXPECT_FALSE(content().showsMicrophone);
    contents.barModel->stop();
    complete();

    RecordingOptions options = RecordingOptions::current(defaults);
    options.captureMicrophone = true;
    options.countdown = false;
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
    bar.show(main, Rect{400, 500, 300, 200});
    bar.show(second, std::nullopt);
    EXPECT_EQ(contents.panels.size(), 1U) << "one at a time";
    const auto origin = [this] {
        return Point{contents.last().settings.frame.x, contents.last().settings.frame.y};
    };
    bar.moveBy(-500, 10);
    EXPECT_EQ(origin(), (Point{0, 458})) << "no further than the edge";
    bar.moveBy(500, -10);
    EXPECT_EQ(origin(), (Point{450, 448})) << "and back to where it was";
    contents.last().settings.onDrag({-30, 600});
    EXPECT_EQ(origin(), (Point{0, 600}));
    bar.moveBy(10, 10);
    EXPECT_EQ(origin(), (Point{10, 610})) << "from where the user left it";
    bar.setRecorder(nullptr);
    bar.moveBy(10, 10);
    bar.show(main, std::nullopt);
    EXPECT_EQ(contents.panels.size(), 1U) << "nothing to show";
}

}  // namespace
}  // namespace lumicrate::test
