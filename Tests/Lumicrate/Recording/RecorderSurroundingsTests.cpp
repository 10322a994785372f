// SPDX-License-Identifier: GPL-3.0-or-later
// The surroundings of a recording: sources and devices, global shortcuts, overlays.
#include "Tests/Lumicrate/Recording/RecorderFixture.h"

#include <thread>
#include <utility>

namespace lumicrate::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

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
    make();
    EXPECT_FALSE(capture.contentChanged);
    recorder->followSources();
    executor.drain();
    EXPECT_EQ(recorder->windows->size(), 1U);
    recorder->setSource(CaptureSource::window(7));

    capture.contentWaits = true;
    const SCShareableContent before = capture.content;
    capture.contentChanged();
    capture.contentChanged();
    EXPECT_FALSE(capture.waiting) << "only on the main thread";
    executor.drain();
    const auto answer = std::exchange(capture.waiting, nullptr);
    ASSERT_TRUE(answer);
    // Changes during a refresh cause another one.
    capture.content.windows.clear();
    capture.contentChanged();
    capture.contentChanged();
    executor.drain();
    EXPECT_FALSE(capture.waiting) << "one after the other";
    capture.contentWaits = false;
    answer(before, nullptr);
    executor.drain();
    EXPECT_THAT(*recorder->windows, IsEmpty());
    EXPECT_EQ(*recorder->source, CaptureSource::area(1));

    capture.contentError = broken;
    capture.contentChanged();
    executor.drain();
    capture.contentError = nullptr;
    capture.content = before;
    capture.contentChanged();
    executor.drain();
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
    for (const char* name : {"Camera", "Other camera"}) {
        devices.heard.clear();
        devices.seen = {{"cam", name}};
        loaded = 0;
        std::thread(devices.changed).join();
        devices.changed();
        EXPECT_EQ(loaded, 0);
        executor.drain();
        EXPECT_EQ(loaded, 1);
        EXPECT_THAT(*recorder->microphones, IsEmpty());
        EXPECT_THAT(*recorder->cameras, ElementsAre(devices.seen[0]));
    }
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

    keys.refused.clear();
    defaults.stored["shortcut.toggle"] = std::string("off");
    recorder->registerHotKeys();
    EXPECT_THAT(*recorder->unavailableHotKeys, IsEmpty());
    overlays.areaSelector = &areaSelector;
    make();
    keys.press(15);
    executor.drain();
    EXPECT_EQ(*recorder->state, State::idle);
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
    stopAndComplete();

    refresh();
    record(CaptureSource::window(7));
    EXPECT_EQ(contents.visible("bar")->settings.frame, (Rect{2050, 728, 200, 40})) << "below the window";
    EXPECT_EQ(contents.shownPanels(), 1U);
    stopAndComplete();

    startWith(CaptureSource::audioOnly());
    EXPECT_EQ(*recorder->state, State::recording);
    EXPECT_EQ(contents.shownPanels(), 0U);
}

TEST_F(RecorderOverlayTests, TheBubblesErrorsAreShown) {
    make();
    webcam.onError("No camera is available.");
    EXPECT_EQ(message(), "No camera is available.");
    recorder.reset();
    webcam.onError("Too late.");
}

}  // namespace
}  // namespace lumicrate::test
