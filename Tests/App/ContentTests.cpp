// SPDX-License-Identifier: GPL-3.0-or-later
// Which windows are in a movie: of a screen, none of the application's; of a window, also its menus and
// dialogs.
#include "Tests/App/DesktopAppTest.h"
#include "Tests/Linux/X11/TestWindow.h"

#include <algorithm>
#include <atomic>
#include <thread>

namespace lumicrate::test {
namespace {

using testing::Each;
using testing::SizeIs;

/// With and without a compositing manager.
class ContentTests : public DesktopAppTest, public testing::WithParamInterface<bool> {
 protected:
    /// A place where a window blinks, so that pictures are taken all the time.
    static constexpr PixelRect busy{0, 0, 64, 64};

    ContentTests() : DesktopAppTest(true) {
        if (GetParam()) desktop().display().startCompositor();
        setGround(0x5a7a9a);
        blinking_ = std::thread([this] {
            TestWindow window(display(), {.frame = busy});
            for (std::uint32_t i = 0; !ending_; ++i) {
                window.fill(i % 2 == 0 ? 0x000000 : 0xffffff);
                pass(0.01);
            }
        });
    }
    ~ContentTests() override {
        ending_ = true;
        blinking_.join();
        if (GetParam()) desktop().display().stopCompositor();
    }

    void setGround(std::uint32_t colour) {
        pictures::BgraPicture tile(1, 1);
        tile.row(0)[0] = colour;
        painter_.setBackground(tile);
    }
    /// The number of pixels that show something else than the ground, outside of the blinking window.
    static int foreignPixels(const Picture& picture) {
        constexpr Rgb ground{90, 122, 154};
        int count = 0;
        for (int y = 0; y < picture.height; ++y)
            for (int x = y < busy.height + 16 ? busy.width + 16 : 0; x < picture.width; ++x)
                if (picture.rgbAt(x, y).distanceTo(ground) > 12) ++count;
        return count;
    }
    /// Presses the key until it has closed the window: it may get the focus later.
    static void close(const char* title, const char* key) {
        xdotool({"search", "--sync", "--onlyvisible", "--name", title});
        EXPECT_TRUE(eventually([&] {
            const std::vector<std::string> focus{"xdotool", "search", "--onlyvisible",
                                                 "--name",  title,    "windowfocus"};
            if (stage::runToEnd(focus).status != 0) return true;
            xdotool({"key", key});
            return false;
        })) << title;
    }

 private:
    ScreenPainter painter_{display()};
    std::atomic<bool> ending_ = false;
    std::thread blinking_;
};

INSTANTIATE_TEST_SUITE_P(App, ContentTests, testing::Bool(), [](const auto& parameter) {
    return parameter.param ? "Compositor" : "NoCompositor";
});

TEST_P(ContentTests, NoWindowOfTheApplicationIsInAScreenRecording) {
    // The preview's movie has another colour.
    setGround(0xe02020);
    recordToEnd({"--screen", "--duration", "1"});
    setGround(0x5a7a9a);
    prefer("captureMode=screen\ncountdown=false\nshowCursor=false\n");
    start();
    run({});
    std::string shown =
        stage::runProgram({"xdotool", "search", "--sync", "--onlyvisible", "--name", "^Lumicrate$"});
    const std::string main = shown.substr(0, shown.find('\n'));
    const auto clickMain = [&](const char* x, const char* y) {
        xdotool({"windowraise", main, "mousemove", "--window", main, x, y, "click", "1"});
    };
    xdotool({"windowminimize", "--sync", main});
    send("toggle");
    awaitState("recording");
    for (int round = 0; round < (isThorough() ? 5 : 1); ++round) {
        run({});
        xdotool({"windowactivate", "--sync", main});
        // The button may not be there at once.
        EXPECT_TRUE(eventually([&] {
            clickMain("391", "259");
            return stage::runToEnd({"xdotool", "search", "--onlyvisible", "--name", "^Lumicrate Settings$"})
                       .status == 0;
        }));
        close("^Lumicrate Settings$", "Escape");
        // A menu; a second click closes it.
        clickMain("427", "259");
        clickMain("427", "259");
        run({"open", file});
        xdotool({"search", "--sync", "--onlyvisible", "--name", "^movie.mp4$", "windowminimize",
                 "windowactivate"});
        close("^movie.mp4$", "ctrl+w");
        xdotool({"windowminimize", main});
    }
    send("toggle");
    awaitState("idle");
    ASSERT_THAT(recordings(), SizeIs(1));
    std::vector<int> foreign;
    MovieProbe(recordings().front()).visitPictures([&](const Picture& picture) {
        foreign.push_back(foreignPixels(picture));
        return true;
    });
    EXPECT_GT(foreign.size(), 20U);
    EXPECT_THAT(foreign, Each(0));
}

TEST_P(ContentTests, MenusAndDialogsAreRecordedWithTheirWindow) {
    stage::ChildProcess program({LUMICRATE_DIALOGS});
    const std::string window = program.readLine();
    program.readLine();
    Program recording = record({"--window", window});
    awaitBegun(recording);
    const TestWindow other(display(), {.frame = {120, 200, 40, 40}, .colour = 0xff00ff});
    for (int step = 0; step < 9; ++step)
        program.readLine();
    EXPECT_EQ(recording.stop().status, 0);

    constexpr struct {
        const char* what;
        int x, y;
        Rgb color;
    } shown[] = {
        {"menu", 100, 250, {0xc0, 0, 0}},          {"list", 60, 70, {0, 0xa0, 0}},
        {"tool tip", 215, 230, {0, 0, 0xc0}},      {"dialog", 350, 60, {0xc0, 0xc0, 0}},
        {"its dialog", 400, 270, {0, 0xc0, 0xc0}},
    };
    for (const auto& [what, x, y, color] : shown) {
        int with = 0, without = 0;
        MovieProbe(file).visitPictures([&, x = x, y = y, color = color](const Picture& picture) {
            const Rgb seen = picture.rgbAt(x, y);
            with += seen.distanceTo(color) <= 24;
            without += seen.distanceTo({0x80, 0x80, 0x80}) <= 24;
            EXPECT_GT(picture.rgbAt(40, 120).distanceTo({0xff, 0, 0xff}), 60) << "another program's window";
            return true;
        });
        EXPECT_GT(with, 0) << what;
        EXPECT_GT(without, 0) << what << " goes away";
    }
}

}  // namespace
}  // namespace lumicrate::test
