// SPDX-License-Identifier: GPL-3.0-or-later
// Following a recorded window: its crop, and the overlays near it.
#include "Tests/Lumicrate/Recording/RecorderFixture.h"

namespace lumicrate::test {
namespace {

using testing::ElementsAre;

class WindowFollowerTests : public RecorderFixture {
 protected:
    static constexpr auto interval = 120ms;

    WindowFollowerTests() {
        overlays.controlBar = &controlBar;
        overlays.webcam = &bubble;
        defaults.stored["webcamEnabled"] = true;
    }

    Rect& frame() { return capture.content.windows.front().frame; }
    /// The crops since the last call.
    std::vector<Rect> crops() {
        std::vector<Rect> given;
        for (const SCStreamConfiguration& each : std::exchange(capture.stream->updates, {}))
            given.push_back(each.sourceRect.value_or(Rect()));
        return given;
    }

    FakeWebcam bubble;
};

TEST_F(WindowFollowerTests, TheCropFollowsTheWindow) {
    record(CaptureSource::window(7));
    EXPECT_EQ(capture.stream->configuration.sourceRect, (Rect{80, 100, 300, 200}));
    const struct {
        const char* what;
        Rect frame;
        std::vector<Rect> crops;
    } steps[] = {
        {"stands still", {2000, 100, 300, 200}, {}},
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

TEST_F(WindowFollowerTests, AMovementDuringTheStartIsFollowed) {
    capture.completesAtOnce = false;
    startWith(CaptureSource::window(7));
    frame().x += 30;
    completeStart();
    executor.advance(interval);
    EXPECT_THAT(crops(), ElementsAre(Rect{110, 100, 300, 200}));
}

TEST_F(WindowFollowerTests, OverlaysMoveWithTheWindow) {
    record(CaptureSource::window(7));
    const Point bubbleBefore = bubble.center;
    frame() = {100, 100, 300, 200};  // on the other display
    executor.advance(interval);
    frame() = {2010, 60, 320, 210};
    executor.advance(interval);
    EXPECT_EQ(contents.visible("bar")->settings.frame, (Rect{880, 46, 200, 40})) << "20 right, 30 up";
    EXPECT_EQ(bubble.center, (Point{bubbleBefore.x + 30, bubbleBefore.y + 30}));
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
