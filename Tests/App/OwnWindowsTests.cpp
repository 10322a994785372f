// What becomes of the application's own windows in a recording: a real recorder in this process, whose
// windows are thereby its own, over a picture that another process shows.

#include "App/Headless.h"
#include "App/Services.h"
#include "Lumicrate/Overlays/ClickHighlighter.h"
#include "Lumicrate/Overlays/ControlBarController.h"
#include "Tests/App/Recording.h"
#include "Tests/Linux/TemporaryFolder.h"
#include "Tests/Linux/X11/TestWindow.h"
#include "Tests/Lumicrate/Overlays/FakeOverlayContents.h"
#include "Tests/Stage/MovieProbe.h"
#include "Tests/Stage/PrivateDesktop.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QEventLoop>
#include <chrono>
#include <functional>
#include <memory>
#include <optional>

namespace lumicrate::test {
namespace {

using namespace std::chrono_literals;
using stage::MovieProbe;
using stage::Picture;
using stage::Rgb;
using State = ScreenRecorder::State;

constexpr int width = 640;
constexpr int height = 400;
constexpr Rgb magenta{255, 0, 255};
constexpr PixelRect kept{60, 40, 100, 80};

/// Runs the main loop until that holds.
bool runUntil(const std::function<bool()>& condition, std::chrono::seconds patience = 30s) {
    const auto end = std::chrono::steady_clock::now() + patience;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end) return false;
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
    }
    return true;
}

bool runFor(std::chrono::milliseconds time) {
    const auto end = std::chrono::steady_clock::now() + time;
    return runUntil([end] { return std::chrono::steady_clock::now() >= end; });
}

/// With a compositing manager and without one.
class OwnWindowsTests : public testing::TestWithParam<bool> {
 protected:
    OwnWindowsTests() {
        stage::PrivateDesktop::Options options;
        options.display = {width, height, false, GetParam()};
        options.sound = false;
        desktop.emplace(options);
        scene.emplace(std::vector<std::string>{"still"});
        if (GetParam()) std::this_thread::sleep_for(200ms);  // until the compositing manager has painted it
        pattern = Painter().read(0, 0, width, height);
        bar.emplace(display(), TestWindow::Look{.frame = {200, 300, 240, 50}, .colour = 0xff00ff});
        window.emplace(
            display(),
            TestWindow::Look{.frame = {300, 60, 250, 200}, .colour = 0xff00ff, .title = "Lumicrate"});
        // Half of white: the colours are those of the scene, half way to white.
        clicks.emplace(display(), TestWindow::Look{.frame = kept, .colour = 0x80808080, .translucent = true});
        contents.windowNumbers = {{"bar", bar->id()}, {"rings", clicks->id()}};
    }

    std::string display() { return desktop->display().displayName(); }

    /// Records the screen while `play` goes on, in this process's main loop.
    void record(bool hideSelf, const std::function<void()>& play) {
        app::Machine machine;
        app::Headless headless;
        ControlBarController controlBar(headless.screens, machine.defaults, contents);
        FakeMouse mouse;
        ClickHighlighter clickHighlighter(machine.executor, headless.screens, mouse, contents);
        RecorderOverlays overlays;
        overlays.controlBar = &controlBar;
        overlays.clickHighlighter = &clickHighlighter;
        app::Services services(machine, {headless.screens, headless.keys, overlays});
        controlBar.setRecorder(&services.recorder);
        // Without a screen, the recorder does not show it.
        clickHighlighter.show({});
        RecordingOptions options;
        options.countdown = false;
        options.captureSystemAudio = options.captureMicrophone = false;
        options.hideSelf = hideSelf;
        options.showCursor = false;
        services.recorder.setOptionsOverride(options);
        services.recorder.setOutputOverride(file);
        services.recorder.start(false);
        ASSERT_TRUE(runUntil([&] { return *services.recorder.state == State::recording; }))
            << services.recorder.errorMessage->value_or("");
        play();
        services.recorder.requestStop();
        ASSERT_TRUE(runUntil([&] { return *services.recorder.state == State::idle; }));
        EXPECT_EQ(services.recorder.errorMessage->value_or(""), "");
    }

    Rgb patternAt(int x, int y) const { return pattern[static_cast<std::size_t>(y * width + x)]; }
    /// Samples of a picture that differ from the scene, and those that look like a window of ours; but for
    /// the highlights, which are to lie half over it.
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

    static constexpr int blinking = 16;   ///< pixels of the highlights' corner that change all the time
    static constexpr int tolerance = 40;  ///< colours of single pixels suffer from 4:2:0
    std::optional<stage::PrivateDesktop> desktop;
    std::optional<RunningScene> scene;
    std::vector<Rgb> pattern;
    std::optional<TestWindow> bar;
    std::optional<TestWindow> window;
    std::optional<TestWindow> clicks;
    FakeOverlayContents contents;
    TemporaryFolder folder;
    const std::filesystem::path file = folder / "movie.mp4";
};

INSTANTIATE_TEST_SUITE_P(Composition, OwnWindowsTests, testing::Bool(), [](const auto& compositor) {
    return compositor.param ? "WithACompositor" : "WithoutOne";
});

TEST_P(OwnWindowsTests, HiddenOnesAreAbsentAndTheHighlightsStay) {
    record(true, [&] {
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

TEST_P(OwnWindowsTests, ShownOnesAreThereButForTheControlBar) {
    record(false, [&] { runFor(600ms); });
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
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
