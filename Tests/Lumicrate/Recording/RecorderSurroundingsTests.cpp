// SPDX-License-Identifier: GPL-3.0-or-later
// The surroundings of a recording: sources and devices, global shortcuts, overlays, and the followed window.
#include "Tests/Lumicrate/Recording/RecorderFixture.h"

#include <thread>

namespace lumicrate::test {
namespace {

class RecorderSurroundingsTests : public RecorderFixture {
 protected:
    void refresh() {
        const RunningTask refreshing(executor, recorder->refreshSources());
        executor.drain();
    }
    static std::vector<std::uint32_t> numbers(const std::vector<SCWindow>& windows) {
        std::vector<std::uint32_t> numbers;
        for (const SCWindow& each : windows)
            numbers.push_back(each.windowID);
        return numbers;
    }
};

TEST_F(RecorderSurroundingsTests, WindowsAreFilteredAndSortedByApplication) {
    const auto window = [](std::uint32_t id, const char* application, Rect frame = {0, 0, 80, 60},
                           std::optional<std::string> title = "title", int layer = 0, int owner = 9) {
        return SCWindow{id, frame, std::move(title), layer, SCRunningApplication{owner, application}};
    };
    capture.content.windows = {
        window(1, "zebra"),
        window(2, "Zebra"),
        window(3, "Alpha"),
        {4, {0, 0, 80, 60}, "title", 0, std::nullopt},
        window(5, "Alpha", {0, 0, 79, 60}),
        window(6, "Alpha", {0, 0, 80, 59}),
        window(7, "Alpha", {0, 0, 80, 60}, std::nullopt),
        window(8, "Alpha", {0, 0, 80, 60}, ""),
        window(9, "Alpha", {0, 0, 80, 60}, "menu", 25),
        window(10, "Lumicrate", {0, 0, 800, 600}, "own", 0, 42),
        window(11, "Alpha"),
    };
    make();
    refresh();
    EXPECT_THAT(numbers(*recorder->windows), ElementsAre(4, 3, 11, 2, 1));
    EXPECT_EQ(recorder->displays->size(), 2U);
}

TEST_F(RecorderSurroundingsTests, AMissingSourceIsReplacedByAnArea) {
    make();
    refresh();
    EXPECT_EQ(*recorder->source, CaptureSource::area(1));
    EXPECT_FALSE(recorder->isSourceAvailable(std::nullopt));
    EXPECT_FALSE(recorder->isSourceAvailable(CaptureSource::area(3)));
    EXPECT_TRUE(recorder->isSourceAvailable(CaptureSource::display(2)));
    recorder->setSource(CaptureSource::window(7));
    refresh();
    EXPECT_EQ(*recorder->source, CaptureSource::window(7));
    capture.content.windows.clear();
    capture.mainDisplayID = 2;
    refresh();
    EXPECT_EQ(*recorder->source, CaptureSource::area(2));
    capture.content.displays.clear();
    recorder->setSource(CaptureSource::audioOnly());
    refresh();
    EXPECT_EQ(*recorder->source, CaptureSource::audioOnly());

    const auto expectRefusal = [](ScreenRecorder& by) -> Task<void> {
        try {
            co_await by.refreshSources();
            ADD_FAILURE();
        } catch (const PlatformError& error) {
            EXPECT_STREQ(error.what(), "It is broken.");
        }
    };
    capture.contentError = broken;
    capture.access = false;
    const RunningTask refreshing(executor, expectRefusal(*recorder));
    executor.drain();
    EXPECT_FALSE(*recorder->hasScreenAccess);
}

TEST_F(RecorderSurroundingsTests, ARecordingKeepsItsSource) {
    make();
    refresh();
    record(CaptureSource::window(7));
    capture.content.windows.clear();
    refresh();
    EXPECT_EQ(*recorder->source, CaptureSource::window(7));
    recorder->setSource(CaptureSource::audioOnly());
    EXPECT_EQ(*recorder->source, CaptureSource::window(7));
}

TEST_F(RecorderSurroundingsTests, RefreshesOfTheSourcesDoNotOverlap) {
    make().followSources();
    executor.drain();
    EXPECT_EQ(recorder->windows->size(), 1U);
    const auto change = [this] {
        capture.contentChanged();
        executor.drain();
    };
    capture.contentWaits = true;
    const SCShareableContent before = capture.content;
    capture.contentChanged();
    EXPECT_FALSE(capture.waiting) << "only on the main thread";
    executor.drain();
    const auto answer = std::exchange(capture.waiting, nullptr);
    ASSERT_TRUE(answer);
    // Changes during a refresh cause another one.
    capture.content.windows.clear();
    capture.contentChanged();
    change();
    EXPECT_FALSE(capture.waiting) << "one after the other";
    capture.contentWaits = false;
    answer(before, nullptr);
    executor.drain();
    EXPECT_THAT(*recorder->windows, IsEmpty());

    capture.contentError = broken;
    change();
    capture.contentError = nullptr;
    capture.content = before;
    change();
    EXPECT_EQ(recorder->windows->size(), 1U);

    const auto late = capture.contentChanged;
    late();
    recorder.reset();
    EXPECT_FALSE(capture.contentChanged);
    late();
    executor.drain();
}

TEST_F(RecorderSurroundingsTests, DeviceListsAreFollowedOnRequest) {
    make();
    EXPECT_FALSE(devices.changed);
    devices.heard = {{"usb", "USB"}};
    recorder->followDevices();
    EXPECT_THAT(*recorder->microphones, ElementsAre(devices.heard[0]));
    int loaded = 0;
    const Subscription counting = recorder->cameras.observe([&](const auto&) { ++loaded; });
    devices.heard.clear();
    for (const int round : {1, 2}) {
        devices.seen = {{"cam", "Camera " + std::to_string(round)}};
        std::thread(devices.changed).join();
        devices.changed();
        EXPECT_EQ(loaded, round - 1) << "only on the main thread";
        executor.drain();
        EXPECT_EQ(loaded, round) << "once";
        EXPECT_THAT(*recorder->cameras, ElementsAre(devices.seen[0]));
    }
    EXPECT_THAT(*recorder->microphones, IsEmpty());
    devices.changed();
    recorder.reset();
    EXPECT_FALSE(devices.changed);
    executor.drain();
}

TEST_F(RecorderSurroundingsTests, TheChosenMicrophoneIsFoundWithoutARefresh) {
    devices.heard = {{"usb", "USB"}};
    defaults.stored["captureMicrophone"] = true;
    defaults.stored["microphoneID"] = std::string("usb");
    record();
    EXPECT_EQ(capture.stream->configuration.microphoneCaptureDeviceID, "usb");
}

TEST_F(RecorderSurroundingsTests, ShortcutsDriveTheRecorder) {
    keys.refused = {0};
    defaults.stored["captureMode"] = std::string("screen");
    screens.all.resize(1);
    make();
    EXPECT_THAT(*recorder->unavailableHotKeys, ElementsAre("⌥⌘A"));
    keys.press(15);
    executor.advance(100ms);
    ASSERT_EQ(*recorder->state, State::recording);
    keys.press(35);
    EXPECT_EQ(*recorder->state, State::paused);
    keys.press(15);
    EXPECT_EQ(*recorder->state, State::stopping);
    executor.drain();
    EXPECT_EQ(*recorder->state, State::idle);

    keys.missing = {35};
    hotKeys.unregisterAll();
    keys.layoutChanged();
    EXPECT_TRUE(keys.grabs.empty()) << "while a shortcut is being recorded";
    recorder->registerHotKeys();
    keys.layoutChanged();
    EXPECT_THAT(*recorder->unavailableHotKeys, ElementsAre("⌥⌘P", "⌥⌘A"));
    EXPECT_THAT(*recorder->missingHotKeys, ElementsAre("⌥⌘P"));
    keys.refused.clear();
    keys.missing.clear();
    keys.layoutChanged();
    EXPECT_THAT(*recorder->unavailableHotKeys, IsEmpty());
    overlays.areaSelector = &areaSelector;
    make();
    keys.press(0);
    executor.drain();
    EXPECT_EQ(*recorder->state, State::selectingArea);
}

class RecorderOverlayTests : public RecorderSurroundingsTests {
 protected:
    RecorderOverlayTests() {
        overlays.controlBar = &controlBar;
        overlays.clickHighlighter = &clickHighlighter;
        overlays.areaFrame = &areaFrame;
        overlays.webcam = &webcam;
        // The first panels, the bubble (4), and a window that is no overlay.
        for (const std::uint32_t number : {1U, 2U, 3U, 4U, 5U})
            capture.content.windows.push_back(
                {number, {}, std::nullopt, 0, SCRunningApplication{42, "Lumicrate"}});
    }

    FakeWebcam webcam;
};

TEST_F(RecorderOverlayTests, AreShownAroundAnAreaAndHiddenAtItsEnd) {
    defaults.stored["areaRect"] = std::string("{{100, 50}, {320, 240}}");
    defaults.stored["highlightClicks"] = true;
    defaults.stored["webcamEnabled"] = true;
    defaults.stored["hideSelf"] = false;
    defaults.stored["captureMicrophone"] = true;
    record(CaptureSource::area(2));
    const Rect global{2020, 790, 320, 240};
    EXPECT_EQ(contents.visible("frame")->settings.frame, (Rect{2016, 786, 328, 248}));
    EXPECT_TRUE(contents.visible("frame")->settings.ignoresMouseEvents);
    EXPECT_EQ(contents.visible("bar")->settings.frame, (Rect{2080, 738, 200, 40})) << "below the area";
    EXPECT_EQ(contents.visible("rings")->settings.frame, (Rect{1920, 480, 1, 1}));
    EXPECT_EQ(webcam.inside, global);
    EXPECT_THAT(numbers(capture.stream->filter.windows), ElementsAre(2, 3))
        << "frame and bar; bubble and clicks are recorded";
    deliverMicrophone();
    executor.drain();
    EXPECT_EQ(webcam.level, 1);

    recorder->requestStop();
    executor.drain();
    EXPECT_EQ(contents.shownPanels(), 0U);
    EXPECT_FALSE(webcam.shown);
    EXPECT_EQ(webcam.center, (Point{5, 5}));
    EXPECT_EQ(webcam.level, std::nullopt);
}

TEST_F(RecorderOverlayTests, FollowTheOptionsAndTheSource) {
    record(CaptureSource::display(1));
    EXPECT_EQ(contents.visible("bar")->settings.frame, (Rect{860, 16, 200, 40})) << "at the bottom";
    EXPECT_EQ(contents.shownPanels(), 1U);
    EXPECT_FALSE(webcam.shown);
    EXPECT_THAT(numbers(capture.stream->filter.windows), ElementsAre(1, 2, 3, 4, 5));
    webcam.shown = true;
    webcam.onWindowChange();
    EXPECT_THAT(capture.stream->filter.exceptingWindows, ElementsAre(4)) << "the bubble appears";
    webcam.shown = false;
    stopAndComplete();

    refresh();
    record(CaptureSource::window(7));
    EXPECT_EQ(contents.visible("bar")->settings.frame, (Rect{2050, 728, 200, 40})) << "below the window";
    EXPECT_EQ(contents.shownPanels(), 1U);
    stopAndComplete();

    startWith(CaptureSource::audioOnly());
    EXPECT_EQ(*recorder->state, State::recording);
    EXPECT_EQ(contents.shownPanels(), 0U);

    webcam.onError("No camera is available.");
    EXPECT_EQ(message(), "No camera is available.");
    recorder.reset();
    webcam.onError("Too late.");
}

TEST_F(RecorderOverlayTests, CoversAreDrawnInPausesAndPrecedeThePicture) {
    overlays.areaSelector = &areaSelector;
    overlays.controlBar = &controlBar;
    defaults.stored["areaRect"] = std::string("{{100, 50}, {320, 240}}");
    make();
    record(CaptureSource::area(1));
    const auto& bar = *contents.barModel;
    EXPECT_TRUE(bar.content->showsCover);
    EXPECT_FALSE(bar.content->canCover);
    recorder->drawCovers();
    executor.advance(1s);
    recorder->togglePause();
    EXPECT_FALSE(contents.visible("selection"));
    contents.barModel->cover();
    executor.drain();
    SelectionModel& drawing = contents.selectionModel->selection;
    EXPECT_EQ(drawing.appearance->selection, (Rect{100, 790, 320, 240}));
    const auto draw = [&drawing](Point from, Point to) {
        drawing.mouseDown({from});
        drawing.mouseDragged({to});
        drawing.mouseUp();
    };
    draw({120, 800}, {180, 820});
    drawing.keyDown({53, 0, {}, {}});
    executor.advance(1s);
    EXPECT_FALSE(contents.visible("selection"));
    EXPECT_THAT(capture.stream->updates, IsEmpty());
    recorder->togglePause();
    const SCStreamConfiguration covered = capture.stream->updates.back();
    EXPECT_THAT(covered.covers, ElementsAre(Rect{120, 260, 60, 20}));
    const auto deliver = [this](std::uint64_t revision) {
        executor.advance(10ms);
        CMSampleBuffer sample = frame(executor.time());
        sample.frameInfo->revision = revision;
        capture.stream->deliver(sample, SCStreamOutputType::screen);
        executor.drain();
        return movie().inputs[0]->appended.size();
    };
    const std::size_t before = deliver(covered.revision - 1);
    EXPECT_EQ(deliver(covered.revision), before + 1);

    // A command that resumes ends the drawing first, and keeps what has been drawn.
    recorder->togglePause();
    recorder->drawCovers();
    executor.drain();
    SelectionModel& again = contents.selectionModel->selection;
    EXPECT_THAT(again.covers(), ElementsAre(Rect{120, 800, 60, 20}));
    again.keyDown({49, 0, {}, {}});
    again.keyDown({51, 0, {}, {}});
    recorder->togglePause();
    EXPECT_EQ(*recorder->state, State::paused);
    executor.advance(100ms);
    EXPECT_EQ(*recorder->state, State::recording);
    EXPECT_FALSE(contents.visible("selection"));
    EXPECT_THAT(capture.stream->updates.back().covers, IsEmpty());
    deliver(capture.stream->updates.back().revision);

    recorder->togglePause();
    recorder->drawCovers();
    executor.drain();
    stopAndComplete();
    EXPECT_EQ(contents.shownPanels(), 0U);
}

TEST_F(RecorderOverlayTests, CoversOfTheSelectionAreRecordedOnce) {
    overlays.areaSelector = &areaSelector;
    make();
    select();
    SelectionModel& selection = contents.selectionModel->selection;
    selection.preselect({100, 500, 400, 300});
    selection.setCovering(true);
    selection.mouseDown({{150, 550}});
    selection.mouseDragged({{250, 600}});
    selection.mouseUp();
    selection.confirm();
    executor.advance(100ms);
    EXPECT_THAT(capture.stream->configuration.covers, ElementsAre(Rect{150, 480, 100, 50}));
    deliverFrame();
    stopAndComplete();
    record(CaptureSource::area(1));
    EXPECT_THAT(capture.stream->configuration.covers, IsEmpty());
    stopAndComplete();
}

TEST_F(RecorderOverlayTests, FollowTheirScreen) {
    defaults.stored["areaRect"] = std::string("{{100, 50}, {320, 240}}");
    record(CaptureSource::area(2));
    for (const bool isDragged : {false, true}) {
        const PanelRecord* const bar = contents.visible("bar");
        if (isDragged) bar->settings.onDrag({100, 700});
        NSScreen& right = screens.all[1];
        right.frame = right.visibleFrame = right.frame.offsetBy(-100, 200);
        screens.changes.notify();
        EXPECT_EQ(bar->settings.frame, isDragged ? (Rect{100, 700, 200, 40}) : (Rect{1980, 938, 200, 40}))
            << "below the area, or where the user put it";
        const Point corner{right.frame.minX() + 96, right.frame.maxY() - 294};
        const Rect frame = contents.visible("frame")->settings.frame;
        EXPECT_EQ((Point{frame.x, frame.y}), corner);
    }
}

class WindowFollowerTests : public RecorderOverlayTests {
 protected:
    static constexpr auto interval = 120ms;

    Rect& frame() { return capture.content.windows.front().frame; }
    /// The crops since the last call.
    std::vector<Rect> crops() {
        std::vector<Rect> given;
        for (const SCStreamConfiguration& each : std::exchange(capture.stream->updates, {}))
            given.push_back(each.sourceRect.value_or(Rect()));
        return given;
    }
};

TEST_F(WindowFollowerTests, TheCropFollowsTheWindow) {
    capture.completesAtOnce = false;
    startWith(CaptureSource::window(7));
    EXPECT_EQ(capture.stream->configuration.sourceRect, (Rect{80, 100, 300, 200}));
    const struct {
        const char* what;
        Rect frame;
        std::vector<Rect> crops;
    } steps[] = {
        {"moved during the start", {2005, 100, 300, 200}, {{85, 100, 300, 200}}},
        {"stands still", {2005, 100, 300, 200}, {}},
        {"moved", {2010, 120, 300, 200}, {{90, 120, 300, 200}}},
        {"resized", {2010, 120, 350, 100}, {{90, 120, 350, 100}}},
        {"between points", {2010.5, 120.25, 300, 200}, {{90, 120, 301, 201}}},
        {"half off the right edge", {2600, 120, 300, 200}, {{680, 120, 120, 200}}},
        {"half off the top left corner", {1900, -50, 300, 200}, {{0, 0, 280, 150}}},
        {"on the other display", {100, 100, 300, 200}, {}},
        {"back", {2000, 100, 300, 200}, {{80, 100, 300, 200}}},
    };
    for (const auto& step : steps) {
        frame() = step.frame;
        if (*recorder->state == State::starting) completeStart();
        executor.advance(interval);
        EXPECT_EQ(crops(), step.crops) << step.what;
    }
    EXPECT_EQ(capture.stream->configuration.width, 300);
}

TEST_F(WindowFollowerTests, AMissingWindowChangesNothing) {
    record(CaptureSource::window(7));
    const SCWindow window = capture.content.windows.front();
    capture.content.windows.clear();
    executor.advance(10s);
    EXPECT_TRUE(crops().empty());
    EXPECT_EQ(*recorder->state, State::recording);

    capture.content.windows = {window};
    frame().x += 5;
    capture.stream->updateError = broken;
    executor.advance(interval);
    frame().x += 5;
    executor.advance(interval);
    EXPECT_THAT(crops(), ElementsAre(Rect{85, 100, 300, 200}, Rect{90, 100, 300, 200}));
    EXPECT_EQ(message(), "");
}

TEST_F(WindowFollowerTests, AClosedWindowIsReportedAndEndsTheRecordingAfterAMinute) {
    record(CaptureSource::window(7));
    capture.content.windows.clear();
    capture.closed = {7};
    executor.advance(interval);
    EXPECT_EQ(message(), "The recorded window was closed. The recording ends in a minute.");
    executor.advance(59s);
    EXPECT_EQ(*recorder->state, State::recording);
    executor.advance(1s);
    EXPECT_EQ(*recorder->state, State::stopping) << "and saves it";
    EXPECT_EQ(message(), "Recording stopped: The recorded window was closed.");
}

TEST_F(WindowFollowerTests, OverlaysMoveWithTheWindow) {
    defaults.stored["webcamEnabled"] = true;
    record(CaptureSource::window(7));
    const Point bubbleBefore = webcam.center;
    frame() = {100, 100, 300, 200};  // on the other display
    executor.advance(interval);
    frame() = {2010, 60, 320, 210};
    executor.advance(interval);
    EXPECT_EQ(contents.visible("bar")->settings.frame, (Rect{880, 46, 200, 40})) << "20 right, 30 up";
    EXPECT_EQ(webcam.center, (Point{bubbleBefore.x + 30, bubbleBefore.y + 30}));
}

TEST_F(WindowFollowerTests, OnlyTheWindowOfARunningRecordingIsFollowed) {
    for (const auto& source : {CaptureSource::window(7), CaptureSource::display(1)}) {
        record(source);
        if (source == CaptureSource::window(7)) recorder->requestStop();
        executor.drain();
        frame().x += 5;
        executor.advance(interval);
        EXPECT_TRUE(crops().empty());
        stopAndComplete();
        EXPECT_EQ(executor.pendingTimers(), 0U);
    }
}

}  // namespace
}  // namespace lumicrate::test
