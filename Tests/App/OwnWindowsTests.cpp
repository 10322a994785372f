// SPDX-License-Identifier: GPL-3.0-or-later
// The application's own windows in its recordings: a real recorder in this process, which owns the windows,
// over a picture that another process shows.
#include "App/RecorderServices.h"
#include "Lumicrate/Overlays/ClickHighlighter.h"
#include "Lumicrate/Overlays/ControlBarController.h"
#include "Tests/App/ProgramTest.h"
#include "Tests/Linux/Desktop/EventLoop.h"
#include "Tests/Linux/X11/TestWindow.h"
#include "Tests/Lumicrate/Overlays/FakeOverlayContents.h"

#include <QCoreApplication>

namespace lumicrate::test {
namespace {

using State = ScreenRecorder::State;

constexpr int width = 640;
constexpr int height = 400;
constexpr PixelRect barFrame{200, 300, 240, 50};
constexpr PixelRect windowFrame{300, 60, 250, 200};
constexpr PixelRect clicksFrame{60, 40, 100, 80};
bool contains(const PixelRect& rect, int x, int y) {
    return x >= rect.x && x < rect.maxX() && y >= rect.y && y < rect.maxY();
}

constexpr int tolerance = 40;  ///< 4:2:0 changes the colours of single pixels

/// With a compositing manager and without one.
class OwnWindowsTests : public ProgramTest, public testing::WithParamInterface<bool> {
 protected:
    OwnWindowsTests() : ProgramTest({.display = {width, height, false, false}, .sound = false}) {
        setCompositor(GetParam());
        scene.emplace(std::vector<std::string>{"demo", "--seconds", "0"});
        if (GetParam()) pass(0.2);  // until the compositing manager has painted it
        pattern = Painter().read(0, 0, width, height);
        bar.emplace(display(), TestWindow::Look{.frame = barFrame, .colour = 0xff00ff});
        window.emplace(display(),
                       TestWindow::Look{.frame = windowFrame, .colour = 0xff00ff, .title = "Lumicrate"});
        // Half transparent white.
        clicks.emplace(display(),
                       TestWindow::Look{.frame = clicksFrame, .colour = 0x80808080, .translucent = true});
        contents.windowNumbers = {{"bar", bar->id()}, {"rings", clicks->id()}};
    }

    /// Records the screen in this process's main loop while windows move, and checks the samples of all
    /// pictures.
    void record(bool hideSelf) {
        app::SystemServices system;
        app::HeadlessDesktop headless;
        const NSScreens& screens = headless.services().screens;
        FakeMouse mouse;
        ControlBarController controlBar(screens, system.defaults, contents);
        ClickHighlighter clickHighlighter(system.executor, screens, mouse, contents);
        RecorderOverlays overlays;
        overlays.controlBar = &controlBar;
        overlays.clickHighlighter = &clickHighlighter;
        app::RecorderServices services(system, headless.services(overlays));
        controlBar.setRecorder(&services.recorder);
        clickHighlighter.show({});  // the recorder does not show it without a screen
        RecordingOptions options;
        options.countdown = options.captureSystemAudio = options.captureMicrophone = false;
        options.hideSelf = hideSelf;
        options.showCursor = false;
        services.recorder.setOptionsOverride(options);
        services.recorder.setOutputOverride(file);
        services.recorder.start(false);
        ASSERT_TRUE(await([&] { return *services.recorder.state == State::recording; }))
            << services.recorder.errorMessage->value_or("");
        for (int step = 0; step < 40; ++step) {
            clicks->fill({0, 0, 8, 8}, step % 2 == 0 ? 0xffffffff : 0xff000000);
            bar->move(step * 37 % (width - 100), step * 53 % (height - 20));
            if (hideSelf) window->move(step * 91 % width - 100, step * 29 % height - 80);
            clicks->raise();
            bool over = false;
            system.executor.after(std::chrono::milliseconds(25), [&over] { over = true; });
            ASSERT_TRUE(await([&over] { return over; }));
        }
        services.recorder.requestStop();
        ASSERT_TRUE(await([&] { return *services.recorder.state == State::idle; }));
        EXPECT_EQ(services.recorder.errorMessage->value_or(""), "");
    }
    /// Expects every picture to show the scene, half transparent white over it, and magenta where `isWindow`
    /// holds.
    void expectPictures(const std::function<bool(int x, int y)>& isWindow) {
        std::size_t pictures = 0;
        MovieProbe(file).visitPictures([&](const Picture& picture) {
            int wrong = 0;
            for (int y = 12; y < height; y += 16) {
                for (int x = 12; x < width; x += 16) {
                    const Rgb under = pattern[static_cast<std::size_t>(y * width + x)];
                    const Rgb half{(under.red + 256) / 2, (under.green + 256) / 2, (under.blue + 256) / 2};
                    const bool isClicks = contains(clicksFrame, x, y);
                    const Rgb expected = isClicks ? half : isWindow(x, y) ? Rgb{255, 0, 255} : under;
                    wrong += picture.rgbAt(x, y).distanceTo(expected) > tolerance ? 1 : 0;
                }
            }
            EXPECT_LE(wrong, 5) << "at " << picture.time;
            ++pictures;
            return true;
        });
        EXPECT_GT(pictures, 10U);
    }

    std::optional<RunningScene> scene;
    std::vector<Rgb> pattern;
    std::optional<TestWindow> bar;
    std::optional<TestWindow> window;
    std::optional<TestWindow> clicks;
    FakeOverlayContents contents;
};

INSTANTIATE_TEST_SUITE_P(Composition, OwnWindowsTests, testing::Bool(), [](const auto& compositor) {
    return compositor.param ? "WithACompositor" : "WithoutOne";
});

TEST_P(OwnWindowsTests, HiddenWindowsAreAbsentAndHighlightsStay) {
    record(true);
    expectPictures([](int, int) { return false; });
}

TEST_P(OwnWindowsTests, ShownWindowsArePresentExceptTheControlBar) {
    record(false);
    expectPictures([](int x, int y) { return contains(windowFrame, x, y); });
}

}  // namespace
}  // namespace lumicrate::test

int main(int argc, char** argv) {
    const QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("Lumicrate"));
    testing::InitGoogleMock(&argc, argv);
    return RUN_ALL_TESTS();
}
