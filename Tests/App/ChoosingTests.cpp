// SPDX-License-Identifier: GPL-3.0-or-later
// Choosing what to record on the screen of the real application by mouse and keys, judged by the recordings.
#include "Linux/Pictures/BgraPicture.h"
#include "Tests/App/DesktopAppTest.h"
#include "Tests/Linux/X11/TestWindow.h"

#include <cmath>
#include <cstdint>
#include <iterator>
#include <sstream>

namespace lumicrate::test {
namespace {

/// Grey squares, no two neighbours alike: moved by a pixel it is another picture.
int wallpaperAt(int x, int y) {
    return 60 + (x / 8 * 89 + y / 8 * 61) % 160;
}

/// How far the picture is from that part of the wallpaper, per pixel.
double differenceFrom(const PixelRect& part, const Picture& picture) {
    double sum = 0;
    for (int y = 2; y < part.height - 2; ++y) {
        for (int x = 2; x < part.width - 2; ++x) {
            const int grey = wallpaperAt(part.x + x, part.y + y);
            sum += std::abs(picture.luma().at(x, y) - stage::lumaOfBt709({grey, grey, grey}));
        }
    }
    return sum / ((part.width - 4) * (part.height - 4));
}

void expectEqual(const PixelRect& part, const Picture& picture) {
    ASSERT_EQ(std::pair(picture.width, picture.height),
              std::pair(part.width + part.width % 2, part.height + part.height % 2));
    const double here = differenceFrom(part, picture);
    EXPECT_LT(here, 1.5);
    for (const auto& [dx, dy] : {std::pair(1, 0), {-1, 0}, {0, 1}, {0, -1}})
        EXPECT_GT(differenceFrom(part.offsetBy(dx, dy), picture), 3 * here + 3) << dx << "," << dy;
}

class ChoosingTests : public DesktopAppTest {
 protected:
    ChoosingTests() : DesktopAppTest(false) {}
    void SetUp() override {
        paint(0);
        wallpaper_.lower();
        wallpaper_.sync();
        xdotool({"mousemove", "20", "20"});
    }
    void TearDown() override {
        app.reset();
        for (const char* monitor : {"MAIN", "LEFT"})
            stage::runToEnd({"xrandr", "--delmonitor", monitor});
    }

    /// The wallpaper, brighter by that much.
    void paint(int brighter) {
        pictures::BgraPicture picture(width, height);
        for (int y = 0; y < height; ++y)
            for (int x = 0; x < width; ++x)
                picture.row(y)[x] = std::uint32_t{0x010101} * std::uint32_t(wallpaperAt(x, y) + brighter);
        wallpaper_.fill(picture);
        wallpaper_.sync();
    }
    static void setMonitors(const char* main, const char* left) {
        stage::runProgram({"xrandr", "--setmonitor", "*MAIN", main, "screen"});
        stage::runProgram({"xrandr", "--setmonitor", "LEFT", left, "none"});
    }
    void startIn(const std::string& mode, const std::string& scale = "1") {
        prefer("captureMode=" + mode +
               "\ncountdown=false\nshowCursor=false\nquality=native\nencodingQuality=maximum\n"
               "captureSystemAudio=false\n");
        start({{"QT_SCALE_FACTOR", scale}});
    }
    static int brightnessAt(int x, int y) { return Painter().read(x, y, 1, 1).front().green; }
    /// Opens the selection, and waits until the screen is dimmed at that place.
    static void open(const std::string& command, int x, int y) {
        const int before = brightnessAt(x, y);
        send(command);
        awaitState("selectingArea");
        ASSERT_TRUE(eventually([=] { return brightnessAt(x, y) < before * 0.8; }));
    }
    /// The arguments of xdotool, separated by spaces.
    static void act(const std::string& line) {
        std::istringstream words(line);
        xdotool({std::istream_iterator<std::string>(words), {}});
    }
    /// Free of snapping.
    static void drag(const PixelRect& area) {
        const auto to = [](int x, int y) {
            return "mousemove " + std::to_string(x) + " " + std::to_string(y) + " ";
        };
        act(to(area.x, area.y) + "keydown ctrl mousedown 1 " +
            to(area.x + area.width / 2, area.y + area.height / 2) + to(area.maxX(), area.maxY()) +
            "mouseup 1 keyup ctrl");
    }
    /// Waits for the recording, ends it, and gives its first picture.
    stage::OwnedPicture recorded() {
        const std::filesystem::path recording = awaitRecording();
        EXPECT_TRUE(eventually([] { return status()["elapsed"] > 0.2; }));
        send("toggle");
        awaitState("idle");
        stage::OwnedPicture first;
        MovieProbe(recording).visitPictures([&](const Picture& picture) {
            first = std::make_shared<Picture>(picture);
            return false;
        });
        return first;
    }
    static std::string lastArea() {
        const std::string line = run({"settings", "areaRect"}).output;
        return line.substr(0, line.find('\n'));
    }

 private:
    TestWindow wallpaper_{display(), {.frame = {0, 0, width, height}, .title = "Wallpaper"}};
};

TEST_F(ChoosingTests, DraggedAreaIsRecordedOnOffsetScreensInPoints) {
    setMonitors("700/170x600/150+580+200", "560/140x500/120+0+0");
    startIn("area", "2");
    const PixelRect area{780, 440, 222, 310};
    open("area", 740, 420);
    drag(area);
    act("key Return");
    expectEqual(area, *recorded());
    EXPECT_EQ(lastArea(), stringFromRect({100, 120, 111, 155}));
    // It is offered again, and moved by a pixel.
    open("area", 740, 420);
    act("key Right Return");
    expectEqual(area.offsetBy(1, 0), *recorded());
}

TEST_F(ChoosingTests, ScreensAreClicked) {
    setMonitors("880/220x800/200+400+0", "400/100x700/175+0+50");
    startIn("screen");
    open("toggle", 4, 740);
    act("key Escape");
    awaitState("idle");
    ASSERT_TRUE(eventually([] { return brightnessAt(4, 740) == wallpaperAt(4, 740); }));
    open("toggle", 404, 4);
    click(100, 640);
    expectEqual({0, 50, 400, 700}, *recorded());
    // An area is chosen on the screen of the last recording, wherever the pointer is.
    act("mousemove 900 400");
    open("area", 4, 740);
    EXPECT_EQ(brightnessAt(404, 4), wallpaperAt(404, 4));
    drag({50, 101, 300, 202});
    act("key Return");
    expectEqual({50, 101, 300, 202}, *recorded());
}

/// Whether that part has the colour of covers.
bool isCovered(const PixelRect& part, const Picture& picture) {
    for (int y = part.y + 2; y < part.maxY() - 2; ++y)
        for (int x = part.x + 2; x < part.maxX() - 2; ++x)
            if (std::abs(picture.luma().at(x, y) - 50) > 2) return false;
    return true;
}

TEST_F(ChoosingTests, CoveredPartsAreInNoPicture) {
    startIn("area");
    const PixelRect area{300, 100, 400, 300};
    open("area", 20, 700);
    drag(area);
    act("key c");
    drag({340, 140, 120, 60});
    act("key Return");
    const std::filesystem::path recording = awaitRecording();
    ASSERT_TRUE(eventually([] { return status()["elapsed"] > 0.2; }));
    send("pause");
    awaitState("paused");
    // The button of the bar below the area.
    const int left = area.x + area.width / 2 - 104;
    const int dimmed = brightnessAt(20, 700);
    click(left + 147, area.maxY() + 12 + 20);
    ASSERT_TRUE(eventually([&] { return brightnessAt(20, 700) < dimmed * 0.8; }));
    drag({500, 250, 100, 80});
    act("key Escape");
    ASSERT_TRUE(eventually([&] { return brightnessAt(20, 700) == dimmed; }));
    paint(30);
    send("pause");
    awaitState("recording");
    ASSERT_TRUE(eventually([] { return status()["elapsed"] > 0.5; }));
    paint(0);
    ASSERT_TRUE(eventually([] { return status()["elapsed"] > 1.7; }));
    send("toggle");
    awaitState("idle");

    std::string seen;
    MovieProbe(recording).visitPictures([&](const Picture& picture) {
        EXPECT_TRUE(isCovered({40, 40, 120, 60}, picture));
        const bool isBrighter =
            picture.luma().at(300, 20) -
                stage::lumaOfBt709({wallpaperAt(600, 120), wallpaperAt(600, 120), wallpaperAt(600, 120)}) >
            15;
        const std::string what = std::string(isBrighter ? "brighter" : "as before") +
                                 (isCovered({200, 150, 100, 80}, picture) ? " and covered" : "");
        if (!seen.ends_with(what)) seen += (seen.empty() ? "" : ", ") + what;
        return true;
    });
    EXPECT_EQ(seen, "as before, brighter and covered, as before and covered");
}

}  // namespace
}  // namespace lumicrate::test
