// SPDX-License-Identifier: GPL-3.0-or-later
#include "Lumicrate/Recording/InputRecorder.h"
#include "Tests/Lumicrate/Recording/RecorderFixture.h"

#include <gtest/gtest.h>

#include <sstream>

namespace lumicrate::test {
namespace {

TEST(PicturePlacementTests, PixelsAreWhereThePictureShowsThem) {
    const struct {
        const char* what;
        PicturePlacement placement;
        Point pixel;
        Point shown;  ///< in pixels of the file's picture, which has even sides
        PixelSize coded;
    } cases[] = {
        {"a screen", {{0, 0, 1920, 1080}, {1920, 1080}}, {960, 540}, {960.5, 540.5}, {1920, 1080}},
        {"an area of another screen", {{2020, 40, 200, 100}, {200, 100}}, {2020, 40}, {0.5, 0.5}, {200, 100}},
        {"outside of it", {{100, 100, 200, 100}, {200, 100}}, {99, 250}, {-0.5, 150.5}, {200, 100}},
        {"half as large", {{0, 0, 3840, 2160}, {1920, 1080}}, {1001, 501}, {500.75, 250.75}, {1920, 1080}},
        {"odd sides", {{10, 10, 301, 201}, {301, 201}}, {310, 210}, {300.5, 200.5}, {302, 202}},
        {"a window that got wider", {{0, 0, 600, 200}, {300, 200}}, {599, 0}, {299.75, 50.25}, {300, 200}},
        {"a window of half points",
         {{0, 0, 299, 199}, {300, 200}, 4},
         {298, 198},
         {298.5, 198.5},
         {300, 200}},
    };
    for (const auto& each : cases) {
        const Point at = each.placement.position(each.pixel);
        EXPECT_NEAR(at.x * each.coded.width, each.shown.x, 1e-6) << each.what;
        EXPECT_NEAR(at.y * each.coded.height, each.shown.y, 1e-6) << each.what;
    }
}

NSGlobalEvent letter(std::uint64_t flags = 0) {
    NSGlobalEvent press;
    press.symbol = 'a';
    press.event.keyName = "A";
    press.event.modifierFlags = flags;
    press.types = true;
    press.characters = "a";
    return press;
}

class InputRecorderTests : public RecorderFixture {
 protected:
    InputRecorderTests() {
        pointer = &mouse;
        overlays.keystrokes = &keystrokeDisplay;
        defaults.stored["captureSystemAudio"] = false;
    }
    void report(double x, double y, int button = 0) { mouse.report({button, {x, y}, executor.time()}); }
    /// "pointer 10,20, press1 10,20, keys Ctrl+A", in pixels of a picture of this size.
    std::string written(double width, double height) {
        executor.drain();
        std::ostringstream text;
        for (const auto& input : movie().inputs) {
            for (const CMSampleBuffer& sample : input->appended) {
                if (!sample.input) continue;
                const RecordedInput& each = *sample.input;
                text << (text.tellp() > 0 ? ", " : "");
                if (each.kind == RecordedInput::Kind::keys) text << "keys " << each.keys;
                if (each.kind == RecordedInput::Kind::pointer) text << "pointer ";
                if (each.kind == RecordedInput::Kind::press) text << "press" << each.button << " ";
                if (each.kind == RecordedInput::Kind::keys) continue;
                text << each.position.x * width - 0.5 << "," << each.position.y * height - 0.5;
            }
        }
        return text.str();
    }

    FakePointer mouse;
};

TEST_F(InputRecorderTests, FollowsPointerClicksAndShownKeys) {
    mouse.first.pixel = {5, 6};
    defaults.stored["showKeys"] = true;
    record();
    report(100, 200);
    report(100, 200, 3);
    presses.press(letter(NSEvent::controlFlag));
    presses.press(letter());
    EXPECT_EQ(written(1920, 1080), "pointer 5,6, pointer 100,200, press3 100,200, keys Ctrl+A");
    stopAndComplete();
    EXPECT_EQ(mouse.monitors, 0);
}

TEST_F(InputRecorderTests, TypedTextIsThereOnlyIfItIsShown) {
    defaults.stored["showKeys"] = true;
    defaults.stored["showTypedText"] = true;
    record();
    presses.press(letter());
    EXPECT_EQ(written(1920, 1080), "pointer 0,0, keys a");
}

TEST_F(InputRecorderTests, KeysThatAreNotShownAreNotKept) {
    record();
    EXPECT_FALSE(presses.press);
    EXPECT_EQ(written(1920, 1080), "pointer 0,0");
}

TEST_F(InputRecorderTests, PositionsAreThoseInAMovingWindow) {
    mouse.first.pixel = {2010, 120};
    record(CaptureSource::window(7));
    capture.content.windows.front().frame = {2100, 100, 300, 200};
    report(2110, 120);
    capture.content.windows.clear();
    report(2111, 121);
    EXPECT_EQ(written(300, 200), "pointer 10,20, pointer 10,20, pointer 11,21");
}

TEST_F(InputRecorderTests, IsOptionalAndNeverPreventsARecording) {
    const struct {
        const char* what;
        std::function<void()> prepare;
        std::size_t tracks;
    } cases[] = {{"turned off", [this] { defaults.stored["recordsInputData"] = false; }, 1},
                 {"not offered", [this] { pointer = nullptr; }, 1},
                 {"refused", [this] { mouse.refused = true; }, 2}};
    for (const auto& each : cases) {
        defaults.stored["recordsInputData"] = true;
        each.prepare();
        recorder.reset();
        record();
        EXPECT_EQ(movie().inputs.size(), each.tracks) << each.what;
        EXPECT_EQ(written(1, 1), "") << each.what;
        stopAndComplete();
        pointer = &mouse;
    }
}

}  // namespace
}  // namespace lumicrate::test
