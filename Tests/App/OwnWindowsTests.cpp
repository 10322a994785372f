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
#include <QTimer>
#include <chrono>

namespace lumicrate::test {
namespace {

using namespace std::chrono_literals;
using State = ScreenRecorder::State;

constexpr int width = 640;
constexpr int height = 400;
constexpr Rgb magenta{255, 0, 255};
constexpr PixelRect kept{60, 40, 100, 80};

void runFor(std::chrono::milliseconds time) {
    bool over = false;
    QTimer::singleShot(time, qApp, [&over] { over = true; });
    ASSERT_TRUE(await([&over] { return over; }));
}

/// With a compositing manager and without one.
class OwnWindowsTests : public ProgramTest, public testing::WithParamInterface<bool> {
 protected:
    OwnWindowsTests() : ProgramTest({.display = {width, height, false, false}, .sound = false}) {
        setCompositor(GetParam());
        scene.emplace(std::vector<std::string>{"still"});
        if (GetParam()) pass(0.2);  // until the compositing manager has painted it
        pattern = Painter().read(0, 0, width, height);
        bar.emplace(display(), TestWindow::Look{.frame = {200, 300, 240, 50}, .colour = 0xff00ff});
        window.emplace(
            display(),
            TestWindow::Look{.frame = {300, 60, 250, 200}, .colour = 0xff00ff, .title = "Lumicrate"});
        // Half transparent white.
        clicks.emplace(display(), TestWindow::Look{.frame = kept, .colour = 0x80808080, .translucent = true});
        contents.windowNumbers = {{"bar", bar->id()}, {"rings", clicks->id()}};
    }

    /// Records the screen during `play`, in this process's main loop.
    void recordDuring(bool hideSelf, const std::function<void()>& play) {
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
        options.countdown = false;
        options.captureSystemAudio = options.captureMicrophone = false;
        options.hideSelf = hideSelf;
        options.showCursor = false;
        services.recorder.setOptionsOverride(options);
        services.recorder.setOutputOverride(file);
        services.recorder.start(false);
        ASSERT_TRUE(await([&] { return *services.recorder.state == State::recording; }))
            << services.recorder.errorMessage->value_or("");
        play();
        services.recorder.requestStop();
        ASSERT_TRUE(await([&] { return *services.recorder.state == State::idle; }));
        EXPECT_EQ(services.recorder.errorMessage->value_or(""), "");
    }

    Rgb patternAt(int x, int y) const { return pattern[static_cast<std::size_t>(y * width + x)]; }
    /// Numbers of samples that differ from the scene, from the half translucent highlights over it, and that
    /// have the colour of our windows.
    struct Differences {
        int fromScene = 0;
        int magenta = 0;
        int fromHighlight = 0;
    };
    Differences differences(const Picture& picture) const {
        Differences found;
        for (int y = 2; y < height; y += 4) {
            for (int x = 2; x < width; x += 4) {
                const Rgb shown = picture.rgbAt(x, y);
                const Rgb under = patternAt(x, y);
                const Rgb half{(under.red + 256) / 2, (under.green + 256) / 2, (under.blue + 256) / 2};
                const bool highlighted = x >= kept.x && x < kept.maxX() && y >= kept.y && y < kept.maxY();
                if (shown.distanceTo(magenta) < 60) ++found.magenta;
                const bool blinks = highlighted && x < kept.x + blinking && y < kept.y + blinking;
                if (blinks) continue;
                if (highlighted) {
                    found.fromHighlight += shown.distanceTo(half) > tolerance ? 1 : 0;
                } else {
                    found.fromScene += shown.distanceTo(under) > tolerance ? 1 : 0;
                }
            }
        }
        return found;
    }

    static constexpr int blinking = 16;   ///< pixels of the highlights' corner that keep changing
    static constexpr int tolerance = 40;  ///< 4:2:0 changes the colours of single pixels
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
    recordDuring(true, [&] {
        for (int step = 0; step < 60; ++step) {
            clicks->fill({0, 0, blinking, blinking}, step % 2 == 0 ? 0xffffffff : 0xff000000);
            bar->move(step * 37 % (width - 100), step * 53 % (height - 20));
            if (step % 4 == 0) window->move(step * 91 % width - 100, step * 29 % height - 80);
            if (step % 12 == 5) window->unmap();
            if (step % 12 == 9) window->map();
            clicks->raise();
            runFor(25ms);
        }
    });
    MovieProbe movie(file);
    int pictures = 0;
    movie.visitPictures([&](const Picture& picture) {
        const Differences found = differences(picture);
        EXPECT_EQ(found.magenta, 0) << "at " << picture.time;
        EXPECT_LE(found.fromScene, 40) << "at " << picture.time;
        EXPECT_LE(found.fromHighlight, 10) << "at " << picture.time;
        ++pictures;
        return true;
    });
    EXPECT_GT(pictures, 15);
}

TEST_P(OwnWindowsTests, ShownWindowsArePresentExceptTheControlBar) {
    recordDuring(false, [] { runFor(600ms); });
    const stage::OwnedPicture last = MovieProbe(file).lastPicture();
    EXPECT_LE(last->rgbAt(425, 160).distanceTo(magenta), 12);
    for (int x = 204; x < 440; x += 16)
        EXPECT_LE(last->rgbAt(x, 325).distanceTo(patternAt(x, 325)), tolerance) << x;
}

}  // namespace
}  // namespace lumicrate::test

int main(int argc, char** argv) {
    QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("Lumicrate"));
    testing::InitGoogleMock(&argc, argv);
    return RUN_ALL_TESTS();
}
