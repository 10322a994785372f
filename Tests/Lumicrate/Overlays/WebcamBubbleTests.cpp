// SPDX-License-Identifier: GPL-3.0-or-later
// The webcam bubble without a widget: its measures, the mouse, and how it follows the preferences.
#include "Lumicrate/Overlays/WebcamBubbleController.h"
#include "Lumicrate/Overlays/WebcamBubbleGeometry.h"
#include "Tests/Lumicrate/FakeCamera.h"
#include "Tests/Lumicrate/Overlays/FakeOverlayContents.h"

namespace lumicrate::test {
namespace {

using namespace std::string_literals;
using Outcome = AVCaptureSession::Outcome;

constexpr auto circle = WebcamShape::circle;
constexpr auto rounded = WebcamShape::rounded;
constexpr auto rectangle = WebcamShape::rectangle;

TEST(WebcamBubbleGeometryTests, Outlines) {
    const struct {
        WebcamShape shape;
        double width, height, corner;
        Point handle;
    } cases[] = {{circle, 200, 200, 100, {200 - 29.29, 29.29}},
                 {circle, 100, 100, 50, {100 - 14.645, 14.645}},
                 {rounded, 200, 200, 36, {200 - 10.5444, 10.5444}},
                 {rounded, 100, 100, 18, {90, 10}},
                 {rectangle, 200, 150, 10, {190, 10}},
                 {rectangle, 101, 76, 10, {91, 10}}};
    for (const auto& [shape, width, height, corner, handle] : cases) {
        const Size size = bubble::sizeOf(shape, width);
        EXPECT_EQ(size, (Size{width, height}));
        EXPECT_DOUBLE_EQ(bubble::cornerRadius(shape, size), corner);
        const Point center = bubble::handleCenter(shape, size);
        EXPECT_NEAR(center.x, handle.x, 1e-9);
        EXPECT_NEAR(center.y, handle.y, 1e-9);
        EXPECT_TRUE(bubble::isOnHandle({handle.x - 12.99, handle.y}, shape, size));
        EXPECT_FALSE(bubble::isOnHandle({handle.x - 9.3, handle.y + 9.3}, shape, size));
    }
}

TEST(WebcamBubbleGeometryTests, ResizingKeepsTheAspectAndTheTopLeftCorner) {
    const struct {
        WebcamShape shape;
        Rect start;
        double dx, dy;
        Rect frame;
    } cases[] = {{circle, {50, 60, 200, 200}, 30, -10, {50, 40, 220, 220}},
                 {circle, {50, 60, 200, 200}, 10, 10, {50, 60, 200, 200}},
                 {circle, {50, 60, 200, 200}, -900, 0, {50, 160, 100, 100}},
                 {rounded, {50, 60, 200, 200}, 0, -900, {50, -220, 480, 480}},
                 {rectangle, {0, 0, 200, 150}, 20, -15, {0, -15, 220, 165}},
                 {rectangle, {0, 0, 200, 150}, 1.4, 0, {0, -1, 201, 151}}};
    for (const auto& [shape, start, dx, dy, frame] : cases)
        EXPECT_EQ(bubble::resized(start, shape, dx, dy), frame);
}

TEST(WebcamBubbleGeometryTests, LevelPillAndRing) {
    const struct {
        WebcamShape shape;
        double width;
        Rect pill, first, last;
    } cases[] = {{circle, 200, {78, 18, 44, 34}, {84, 30.6, 4, 8.8}, {112, 24, 4, 22}},
                 {circle, 100, {28, 9, 44, 26}, {34, 19.2, 4, 5.6}, {62, 15, 4, 14}},
                 {rectangle, 400, {150, 18, 100, 60}, {163.5, 41.4, 9, 13.2}, {227.5, 31.5, 9, 33}}};
    for (const auto& [shape, width, frame, first, last] : cases) {
        const auto pill = bubble::layoutLevelPill(shape, bubble::sizeOf(shape, width));
        EXPECT_EQ(pill.frame, frame);
        EXPECT_EQ(pill.cornerRadius, frame.height / 2);
        for (const auto& [bar, expected] : {std::pair(pill.bars[0], first), {pill.bars[4], last}}) {
            EXPECT_NEAR(bar.height, expected.height, 1e-9);
            EXPECT_NEAR(bar.y, expected.y, 1e-9);
            EXPECT_EQ(bar.x, expected.x);
        }
    }
    EXPECT_NEAR(bubble::barBrightness(2, 0.5), 0.5, 1e-9);
    EXPECT_EQ(bubble::speakingRingWidth({200, 200}, 0), 4);
    EXPECT_GT(bubble::speakingRingWidth({200, 200}, 0.8), bubble::speakingRingWidth({200, 200}, 0.2));
    EXPECT_EQ(bubble::speakingRingOpacity(0.02), 0);
}

TEST(NSColorTests, IsReadFromSixDigits) {
    for (const char* text : {"#FF3B30", "FF3B30", "ff3b30", "##fF3b30#"})
        EXPECT_EQ(NSColor::fromHex(text), (NSColor{1, 0x3B / 255.0, 0x30 / 255.0})) << text;
    for (const char* text :
         {"F30", "#FF3B3", "FF3B300", "FF#B30", "FF3B3G", "-F3B30", "0xFF3B", " FF3B3", "", "######"})
        EXPECT_FALSE(NSColor::fromHex(text)) << text;
}

class WebcamBubbleTests : public testing::Test {
 protected:
    WebcamBubbleTests() {
        RecordingOptions::registerDefaults(defaults);
        screens.all = {{1, {0, 0, 1920, 1080}, {0, 40, 1920, 1000}, 1, "main"},
                       {2, {1920, 0, 1000, 600}, {1920, 0, 1000, 600}, 2, "right"}};
        bubble.setOnError([this](const std::string& message) { messages.push_back(message); });
    }

    void set(std::string_view key, const DefaultsValue& value) {
        defaults.set(key, value);
        executor.drain();
    }
    void enable() {
        set("webcamEnabled", true);
        ASSERT_EQ(cameras.open(), 1U);
    }
    void start(Outcome outcome) {
        cameras.last().started(outcome);
        executor.drain();
    }
    const WebcamBubbleAppearance& shown() { return *contents.bubbleModel->appearance; }
    Rect frame() { return contents.last().settings.frame; }
    void expectHidden() {
        EXPECT_EQ(contents.shownPanels() + cameras.open(), 0U);
        EXPECT_FALSE(bubble.windowNumber());
    }
    void expectShown() {
        EXPECT_EQ(contents.shownPanels(), 1U);
        EXPECT_EQ(cameras.open(), 1U);
        EXPECT_EQ(bubble.windowNumber(), 1U);
    }
    std::string storedCenter() { return defaults.stringForKey("webcamCenter").value_or(""); }
    /// Presses at a place in the bubble, drags by (dx, dy), and releases.
    void drag(Point from, double dx, double dy) {
        const Rect before = frame();
        WebcamBubbleModel& model = *contents.bubbleModel;
        model.mouseMoved(from);
        model.mouseDown(from);
        model.mouseDragged({before.x + from.x + dx / 2, before.y + from.y + dy});
        model.mouseDragged({before.x + from.x + dx, before.y + from.y + dy});
        model.mouseUp(from);
        executor.drain();
    }

    VirtualExecutor executor;
    FakeDefaults defaults;
    FakeScreens screens;
    FakeDevices devices;
    FakeCameras cameras;
    FakeOverlayContents contents;
    std::vector<std::string> messages;
    WebcamBubbleController bubble{{executor, defaults, screens, devices, cameras.factory(), contents}};
};

TEST_F(WebcamBubbleTests, IsShownWhileItIsEnabled) {
    bubble.apply();
    EXPECT_THAT(contents.panels, IsEmpty());
    enable();
    expectShown();
    EXPECT_EQ(frame(), (Rect{1688, 72, 200, 200}));
    EXPECT_FALSE(contents.last().settings.ignoresMouseEvents || contents.last().settings.canBecomeKey);
    start(Outcome::running);
    set("webcamEnabled", false);
    expectHidden();
    EXPECT_EQ(contents.bubbleModel->picture->pixels, nullptr);
    enable();
    expectShown();
    EXPECT_EQ(contents.panels.size(), 1U) << "capture knows the panel by its number";
    bubble.setSuspended(true);
    expectHidden();
    set("webcamShape", "rounded"s);
    expectHidden();
    bubble.setSuspended(false);
    expectShown();
    EXPECT_THAT(messages, IsEmpty());
}

TEST_F(WebcamBubbleTests, FollowsThePreferences) {
    enable();
    WebcamBubbleAppearance fresh;
    fresh.borderWidth = 4;
    fresh.borderColor = {1, 1, 1};
    EXPECT_EQ(shown(), fresh);
    const struct {
        const char* key;
        DefaultsValue value;
        std::function<void(WebcamBubbleAppearance&)> change;
        Size size;
    } cases[] = {
        {"webcamShape", "rectangle"s, [](auto& a) { a.shape = rectangle; }, {200, 150}},
        {"webcamShape", "star"s, [](auto& a) { a.shape = circle; }, {200, 200}},
        {"webcamWidth", 280.0, [](auto&) {}, {280, 280}},
        {"webcamWidth", 5e9, [](auto&) {}, {480, 480}},
        {"webcamBorder", "thick"s, [](auto& a) { a.borderWidth = 8; }, {480, 480}},
        {"webcamBorder", "none"s, [](auto& a) { a.borderWidth = 0; }, {480, 480}},
        {"webcamBorderColor",
         "ff0000"s,
         [](auto& a) {
             a.borderColor = {1, 0, 0};
         },
         {480, 480}},
        {"webcamBorderColor",
         "red"s,
         [](auto& a) {
             a.borderColor = {1, 1, 1};
         },
         {480, 480}},
        {"webcamMirror", false, [](auto& a) { a.mirrored = false; }, {480, 480}},
    };
    for (const auto& [key, value, edit, size] : cases) {
        WebcamBubbleAppearance expected = shown();
        edit(expected);
        set(key, value);
        EXPECT_EQ(shown(), expected) << key;
        EXPECT_EQ(frame().size(), size) << key;
        EXPECT_EQ(frame().intersection(screens.all[0].visibleFrame), frame()) << key;
    }
    EXPECT_EQ(cameras.sessions.size(), 1U);
    EXPECT_EQ(cameras.last().previewSize, (PixelSize{480, 480}));
    for (const auto& [camera, sessions] : {std::pair("builtin"s, 1U), {"usb"s, 2U}, {""s, 3U}}) {
        set("webcamID", camera);
        EXPECT_EQ(cameras.sessions.size(), sessions) << camera;
        EXPECT_EQ(cameras.open(), 1U);
    }
}

TEST_F(WebcamBubbleTests, StoredPlaceIsKeptOnAScreen) {
    const std::pair<const char*, Rect> cases[] = {
        {"{400, 300}", {300, 200, 200, 200}}, {"{2000.5, 200}", {1901, 100, 200, 200}},
        {"{-50, 5000}", {0, 840, 200, 200}},  {"{9e99, -9e99}", {1688, 72, 200, 200}},
        {"{nan, 5}", {1688, 72, 200, 200}},   {"400, 300", {1688, 72, 200, 200}}};
    for (const auto& [stored, expected] : cases) {
        set("webcamEnabled", false);
        set("webcamCenter", std::string(stored));
        enable();
        EXPECT_EQ(frame(), expected) << stored;
    }
    screens.all.erase(screens.all.begin());
    screens.changes.notify();
    EXPECT_EQ(frame().intersection(screens.all[0].frame), frame()) << "its screen was unplugged";
}

TEST_F(WebcamBubbleTests, AccessIsAskedForOnce) {
    devices.cameraAccess = AVAuthorizationStatus::notDetermined;
    set("webcamEnabled", true);
    bubble.apply();
    expectHidden();
    ASSERT_EQ(devices.cameraRequests.size(), 1U);
    devices.cameraAccess = AVAuthorizationStatus::authorized;
    devices.cameraRequests[0](true);
    executor.drain();
    expectShown();
    devices.cameraAccess = AVAuthorizationStatus::denied;
    bubble.apply();
    executor.drain();
    expectHidden();
    EXPECT_THAT(messages, ElementsAre("Camera access is off. Allow Lumicrate in System Settings › Privacy & "
                                      "Security › Camera."));
    EXPECT_FALSE(defaults.boolForKey("webcamEnabled"));
}

TEST_F(WebcamBubbleTests, FailuresHideItAndTurnItOff) {
    const std::pair<Outcome, const char*> cases[] = {
        {Outcome::noCamera, "No camera is available."},
        {Outcome::couldNotBeStarted, "The camera couldn't be started."}};
    for (const auto& [outcome, message] : cases) {
        enable();
        start(outcome);
        expectHidden();
        EXPECT_EQ(messages.back(), message);
        EXPECT_FALSE(defaults.boolForKey("webcamEnabled"));
    }
    enable();
    const auto first = cameras.sessions.back();
    defaults.set("webcamID", "usb"s);
    first->started(Outcome::noCamera);
    executor.drain();
    expectShown();
    EXPECT_EQ(messages.size(), 2U) << "the failed session was replaced already";
}

TEST_F(WebcamBubbleTests, AnUnpluggedCameraShowsAPlaceholder) {
    enable();
    start(Outcome::running);
    const auto& picture = *contents.bubbleModel->picture;
    cameras.last().show(plainPicture({200, 200}, 0x102030));
    EXPECT_EQ(picture.pixels, cameras.last().picture.pixels);
    cameras.last().connectionChanged(false);
    EXPECT_TRUE(shown().disconnected && !picture.pixels);
    expectShown();
    cameras.last().connectionChanged(true);
    cameras.last().show(plainPicture({200, 200}, 0x102030));
    EXPECT_TRUE(!shown().disconnected && picture.pixels);
    EXPECT_THAT(messages, IsEmpty());
}

TEST_F(WebcamBubbleTests, DraggingMovesAndResizes) {
    enable();
    using Cursor = WebcamBubbleAppearance::Cursor;
    WebcamBubbleModel& model = *contents.bubbleModel;
    const Point handle{200 - 29, 29};
    model.mouseMoved({100, 100});
    EXPECT_TRUE(shown().showsHandle && shown().cursor == Cursor::arrow);
    model.mouseMoved(handle);
    EXPECT_EQ(shown().cursor, Cursor::resize);
    model.mouseExited();
    EXPECT_TRUE(!shown().showsHandle && shown().cursor == Cursor::arrow);

    drag({50, 100}, -1000, 300);
    EXPECT_EQ(frame(), (Rect{688, 372, 200, 200}));
    EXPECT_EQ(storedCenter(), "{788, 472}");
    drag(handle, 61, -61);
    EXPECT_EQ(frame(), (Rect{688, 311, 261, 261}));
    EXPECT_EQ(defaults.doubleForKey("webcamWidth"), 261);
    EXPECT_EQ(storedCenter(), "{818.5, 441.5}");
    EXPECT_EQ(cameras.last().previewSize, (PixelSize{261, 261}));
    defaults.stored.erase("webcamCenter");
    drag({50, 100}, 0, 0);
    EXPECT_EQ(storedCenter(), "") << "a click";

    model.mouseDown({50, 100});
    EXPECT_EQ(shown().cursor, Cursor::closedHand);
    model.mouseUp({50, 100});
    model.mouseDown({261 - 38, 38});
    EXPECT_EQ(shown().sizeLabel, "261");
    model.mouseDragged({frame().x, frame().y});
    EXPECT_NE(shown().sizeLabel, "261");
    model.mouseExited();
    EXPECT_TRUE(shown().showsHandle && shown().cursor == Cursor::resize);
    set("webcamBorder", "thin"s);
    EXPECT_EQ(std::to_string(int(frame().width)), shown().sizeLabel) << "other preferences change meanwhile";
    model.mouseUp({-50, -50});
    EXPECT_TRUE(!shown().showsHandle && shown().sizeLabel.empty());
    drag({50, 50}, 2000 - frame().x, 0);
    EXPECT_EQ(cameras.last().previewSize.width, 2 * frame().width) << "a denser screen";
}

TEST_F(WebcamBubbleTests, MenuChangesThePreferences) {
    enable();
    const auto choose = [&](const std::string& title) {
        for (const MenuItem& item : contents.bubbleModel->makeMenu())
            if (item.title == title) item.action();
        executor.drain();
    };
    const auto texts = [&] {
        std::string all;
        for (const MenuItem& item : contents.bubbleModel->makeMenu())
            all += (item.separator ? "-" : item.title) + (item.checked.value_or(false) ? "*" : "") + " ";
        return all;
    };
    EXPECT_EQ(texts(), "Circle* Rounded Rectangle - Small Medium* Large - Hide Webcam ");
    choose("Rounded");
    choose("Large");
    EXPECT_EQ(texts(), "Circle Rounded* Rectangle - Small Medium Large* - Hide Webcam ");
    EXPECT_EQ(frame().width, 280);
    EXPECT_EQ(defaults.stringForKey("webcamShape"), "rounded");
    set("webcamWidth", 139.2);
    EXPECT_EQ(texts(), "Circle Rounded* Rectangle - Small* Medium Large - Hide Webcam ");
    choose("Hide Webcam");
    expectHidden();
    EXPECT_FALSE(defaults.boolForKey("webcamEnabled"));
    enable();
    defaults.readOnly = true;
    choose("Circle");
    EXPECT_THAT(messages, ElementsAre("The preferences can't be written."));
}

TEST_F(WebcamBubbleTests, IsMovedIntoTheRecordedAreaAndBack) {
    enable();
    set("webcamCenter", "{1788, 172}"s);
    EXPECT_FALSE(bubble.moveInside({1600, 0, 320, 320}));
    const std::pair<Rect, Rect> cases[] = {{{100, 100, 240, 240}, {120, 120, 200, 200}},
                                           {{100, 100, 640, 480}, {520, 120, 200, 200}},
                                           {{100, 100, 239, 480}, {120, 240, 200, 200}},
                                           {{100, 100, 50, 50}, {25, 25, 200, 200}}};
    for (const auto& [area, expected] : cases) {
        EXPECT_EQ(bubble.moveInside(area), (Point{1788, 172}));
        EXPECT_NEAR(frame().x, expected.x, 0.5);
        EXPECT_NEAR(frame().y, expected.y, 0.5);
        EXPECT_EQ(storedCenter(), "{1788, 172}");
        bubble.moveBy(-7, 5);
        EXPECT_NEAR(frame().x, expected.x - 7, 0.5);
        set("webcamMirror", frame().y < 200);
        EXPECT_NEAR(frame().x, expected.x - 7, 0.5) << "changes of preferences do not move it";
        bubble.moveCenter({1788, 172});
        EXPECT_EQ(frame(), (Rect{1688, 72, 200, 200}));
    }
    bubble.moveBy(-500, 0);
    drag({50, 50}, 10, 10);
    bubble.moveCenter({1788, 172});
    EXPECT_EQ(storedCenter(), "{1788, 172}");
    set("webcamEnabled", false);
    EXPECT_FALSE(bubble.moveInside({0, 0, 500, 500}));
}

TEST_F(WebcamBubbleTests, ARecordingCanShowIt) {
    RecordingOptions options;
    bubble.showPanel(options);
    expectShown();
    set("webcamShape", "rounded"s);
    expectShown();
    EXPECT_EQ(shown().shape, rounded);
    bubble.apply();
    expectHidden();
    bubble.showPanel(options);
    bubble.hideFromMenu();
    executor.drain();
    expectHidden();
    bubble.showPanel(options);
    start(Outcome::noCamera);
    expectHidden();
    set("webcamShape", "circle"s);
    expectHidden();
    enable();
    bubble.showPanel(options);
    set("webcamEnabled", false);
    expectHidden();
}

TEST_F(WebcamBubbleTests, ShowsTheLevelOfTheMicrophone) {
    enable();
    EXPECT_FALSE(shown().level);
    int changes = 0;
    const auto counting = contents.bubbleModel->appearance.observe([&](const auto&) { ++changes; });
    for (const float level : {0.5F, 0.501F, 0.504F})
        bubble.setMicrophoneLevel(level);
    EXPECT_EQ(shown().level, 0.5F);
    EXPECT_EQ(changes, 1);
    bubble.setMicrophoneLevel(7.0F);
    EXPECT_EQ(shown().level, 1.0F);
    set("webcamMicLevel", false);
    EXPECT_FALSE(shown().level);
    set("webcamMicLevel", true);
    EXPECT_EQ(shown().level, 1.0F);
    bubble.setMicrophoneLevel(std::nullopt);
    EXPECT_FALSE(shown().level);
}

}  // namespace
}  // namespace lumicrate::test
