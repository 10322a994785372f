// What to record, chosen on the screen of the real application by mouse and keys, and found in the recording.
#include "Linux/X11/Pixels/BgraPicture.h"
#include "Tests/App/DrivenApp.h"
#include "Tests/Linux/X11/TestWindow.h"
#include "Tests/Stage/MovieProbe.h"

#include <gmock/gmock.h>

#include <array>
#include <cmath>
#include <cstdint>
#include <random>

namespace lumicrate::test {
namespace {

using stage::MovieProbe;
using stage::Picture;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

constexpr int width = 1280;
constexpr int height = 800;

/// Grey squares, no two neighbours alike: moved by a pixel it is another picture.
class Wallpaper {
 public:
    Wallpaper() : picture_(width, height) {
        std::mt19937 random(3);
        for (auto& row : greys_)
            for (auto& grey : row)
                grey = static_cast<std::uint8_t>(60 + random() % 160);
        for (int y = 0; y < height; ++y)
            for (int x = 0; x < width; ++x)
                picture_.row(y)[x] = std::uint32_t{0x010101} * greyAt(x, y);
        window_.emplace(desktop->display().displayName(),
                        TestWindow::Look{.frame = {0, 0, width, height}, .title = "Wallpaper"});
        window_->fill(picture_);
        window_->sync();
        window_->lower();
        window_->sync();
    }
    std::uint8_t greyAt(int x, int y) const {
        return greys_[static_cast<std::size_t>(y / side)][static_cast<std::size_t>(x / side)];
    }

 private:
    static constexpr int side = 8;
    std::array<std::array<std::uint8_t, width / side>, height / side> greys_{};
    x11::BgraPicture picture_;
    std::optional<TestWindow> window_;
};

/// How far the picture is from that part of the wallpaper, per pixel, moved by a few of them.
double differenceFrom(const Wallpaper& wallpaper, const PixelRect& part, const Picture& picture, int dx = 0,
                      int dy = 0) {
    double sum = 0;
    int count = 0;
    for (int y = 2; y < part.height - 2; ++y) {
        for (int x = 2; x < part.width - 2; ++x) {
            const int grey = wallpaper.greyAt(part.x + x + dx, part.y + y + dy);
            sum += std::abs(picture.luma().at(x, y) - stage::lumaOfBt709({grey, grey, grey}));
            ++count;
        }
    }
    return sum / count;
}

void expectEqual(const Wallpaper& wallpaper, const PixelRect& part, const Picture& picture) {
    ASSERT_EQ(std::pair(picture.width, picture.height),
              std::pair(part.width + part.width % 2, part.height + part.height % 2));
    const double here = differenceFrom(wallpaper, part, picture);
    EXPECT_LT(here, 1.5);
    for (const auto& [dx, dy] : {std::pair(1, 0), {-1, 0}, {0, 1}, {0, -1}})
        EXPECT_GT(differenceFrom(wallpaper, part, picture, dx, dy), 3 * here + 3) << dx << "," << dy;
}

struct Layout {
    const char* name;
    const char* scale;
    std::vector<std::pair<const char*, const char*>> monitors;  ///< the first is the main one
    PixelRect chosen;                                           ///< where the area is dragged
    PixelRect part;                                             ///< on that screen
};

class ChoosingTests : public DrivenApp {
 protected:
    void SetUp() override {
        std::filesystem::remove_all(recordingsFolder());
        xdotool({"mousemove", "20", "20"});
    }
    void TearDown() override {
        app.reset();
        for (const std::string& each : monitors_)
            stage::runProgram({"xrandr", "--delmonitor", each});
    }

    void setMonitors(const std::vector<std::pair<const char*, const char*>>& monitors) {
        const char* output = "screen";
        for (const auto& [name, geometry] : monitors) {
            stage::runProgram({"xrandr", "--setmonitor", name, geometry, std::exchange(output, "none")});
            monitors_.emplace_back(name[0] == '*' ? name + 1 : name);
        }
    }
    void startIn(const std::string& mode, const std::string& scale = "1") {
        prefer("captureMode=" + mode +
               "\nwelcomeShown=true\ncountdown=false\nshowCursor=false\nquality=native\n"
               "encodingQuality=maximum\ncaptureSystemAudio=false\n");
        start({{"QT_SCALE_FACTOR", scale}});
    }
    static int brightnessAt(int x, int y) { return Painter().read(x, y, 1, 1).front().green; }
    /// What is asked for makes the screen darker at that place, and the place is remembered.
    void openBy(const std::function<void()>& ask, int x = 4, int y = 4) {
        const int before = brightnessAt(x, y);
        isOpen_ = [=] { return brightnessAt(x, y) < before * 0.8; };
        ask();
        awaitState("selectingArea");
        ASSERT_TRUE(comesTrue(isOpen_));
    }
    void openArea(int x = 4, int y = 4) {
        openBy([] { EXPECT_EQ(run({"area"}).status, 0); }, x, y);
    }
    void openByButton(int x, int y) {
        openBy([] { EXPECT_EQ(run({"toggle"}).status, 0); }, x, y);
    }
    void expectClosed() {
        ASSERT_TRUE(comesTrue([this] { return !isOpen_(); }));
    }
    static void press(const std::vector<std::string>& keys) {
        for (const std::string& each : keys)
            xdotool({"key", each});
    }
    /// Free of snapping. The button is named, as a second press soon after another would be a double click.
    static void drag(int fromX, int fromY, int toX, int toY, bool snaps = false) {
        std::vector<std::string> words{"mousemove", std::to_string(fromX), std::to_string(fromY)};
        const auto add = [&words](const std::vector<std::string>& more) {
            words.insert(words.end(), more.begin(), more.end());
        };
        if (!snaps) add({"keydown", "ctrl"});
        add({"mousedown", "1", "mousemove", std::to_string((fromX + toX) / 2),
             std::to_string((fromY + toY) / 2), "mousemove", std::to_string(toX), std::to_string(toY),
             "mouseup", "1"});
        if (!snaps) add({"keyup", "ctrl"});
        xdotool(words);
    }
    /// Waits for the recording, ends it, and gives its first picture.
    stage::OwnedPicture recorded() {
        const std::filesystem::path file = awaitState("recording")["file"].get<std::string>();
        EXPECT_TRUE(comesTrue([] { return status()["elapsed"] > 0.2; }));
        EXPECT_EQ(run({"toggle"}).status, 0);
        awaitState("idle");
        stage::OwnedPicture first;
        MovieProbe(file).visitPictures([&](const Picture& picture) {
            first = stage::OwnedPicture(picture);
            return false;
        });
        return first;
    }
    static std::string lastArea() {
        std::string area = run({"settings", "areaRect"}).output;
        while (!area.empty() && area.back() == '\n')
            area.pop_back();
        return area;
    }

    Wallpaper wallpaper;

 private:
    std::vector<std::string> monitors_;
    std::function<bool()> isOpen_;
};

TEST_F(ChoosingTests, WhatIsDraggedIsWhatIsRecorded) {
    const Layout layouts[] = {{"one screen", "1", {}, {301, 203, 317, 211}, {301, 203, 317, 211}},
                              {"two pixels a point", "2", {}, {302, 206, 316, 210}, {302, 206, 316, 210}},
                              {"the main one on the right",
                               "1",
                               {{"*MAIN", "880/220x800/200+400+0"}, {"LEFT", "400/100x800/200+0+0"}},
                               {501, 203, 317, 211},
                               {101, 203, 317, 211}},
                              {"offset, dense",
                               "2",
                               {{"*MAIN", "700/170x600/150+580+200"}, {"LEFT", "560/140x500/120+0+0"}},
                               {780, 440, 222, 310},
                               {200, 240, 222, 310}}};
    for (const Layout& each : layouts) {
        SCOPED_TRACE(each.name);
        setMonitors(each.monitors);
        startIn("area", each.scale);
        const PixelRect& area = each.chosen;
        openArea(area.x - 40, area.y - 20);
        drag(area.x, area.y, area.maxX(), area.maxY());
        press({"Return"});
        expectEqual(wallpaper, area, *recorded());
        const double points = std::stod(each.scale);
        EXPECT_EQ(lastArea(), stringFromRect(Rect{double(each.part.x), double(each.part.y),
                                                  double(each.part.width), double(each.part.height)}
                                                 .scaledBy(1 / points)));
        // It is offered again, and moved by a pixel.
        openArea(area.x - 40, area.y - 20);
        press({"Right", "Return"});
        expectEqual(wallpaper, area.offsetBy(1, 0), *recorded());
        TearDown();
    }
}

TEST_F(ChoosingTests, ByHandlesKeysShapesAndFields) {
    using Steps = std::function<void()>;
    const auto keys = [](std::vector<std::string> all) { return [all] { press(all); }; };
    const auto dragged = [](int fromX, int fromY, int toX, int toY) {
        return [=] { drag(fromX, fromY, toX, toY); };
    };
    const auto clicked = [](const char* button, int x, int y) {
        return [=] { xdotool({"mousemove", std::to_string(x), std::to_string(y), "click", button}); };
    };
    const struct {
        const char* name;
        std::vector<Steps> steps;  // after 300, 200, 400, 240 was drawn
        std::optional<Rect> area;
    } cases[] = {
        {"top left", {dragged(300, 200, 340, 180), keys({"Return"})}, Rect{340, 180, 360, 260}},
        {"top", {dragged(500, 200, 510, 180), keys({"KP_Enter"})}, Rect{300, 180, 400, 260}},
        {"top right", {dragged(700, 200, 740, 180), keys({"Return"})}, Rect{300, 180, 440, 260}},
        {"right", {dragged(700, 320, 740, 350), keys({"Return"})}, Rect{300, 200, 440, 240}},
        {"bottom right", {dragged(700, 440, 740, 460), keys({"Return"})}, Rect{300, 200, 440, 260}},
        {"bottom", {dragged(500, 440, 510, 460), keys({"Return"})}, Rect{300, 200, 400, 260}},
        {"bottom left", {dragged(300, 440, 340, 460), keys({"Return"})}, Rect{340, 200, 360, 260}},
        {"left", {dragged(300, 320, 340, 350), keys({"Return"})}, Rect{340, 200, 360, 240}},
        {"moved", {dragged(500, 300, 560, 290), keys({"Return"})}, Rect{360, 190, 400, 240}},
        {"arrows",
         {keys({"shift+Left", "Up", "alt+Right", "alt+shift+Down", "Return"})},
         Rect{290, 199, 401, 250}},
        {"anew", {dragged(800, 500, 900, 600), keys({"Return"})}, Rect{800, 500, 100, 100}},
        {"typed", {keys({"Tab", "Tab", "6", "4", "0", "Return", "Return"})}, Rect{300, 200, 640, 240}},
        {"shaped", {keys({"Tab", "space", "Up", "Return", "Return"})}, Rect{300, 120, 400, 400}},
        {"outside, all of it", {clicked("1", 1200, 700), keys({"Return"})}, Rect{0, 0, width, height}},
        {"by a double click",
         {[] {
             xdotool({"mousemove", "500", "300", "click", "--repeat", "2", "--delay", "40", "1"});
         }},
         Rect{300, 200, 400, 240}},
        {"given up", {keys({"Escape"})}, std::nullopt},
        {"given up by the right button", {clicked("3", 500, 300)}, std::nullopt},
    };
    for (const auto& each : cases) {
        SCOPED_TRACE(each.name);
        startIn("area");
        openArea();
        drag(300, 200, 700, 440);
        // Later than a double click would be.
        std::this_thread::sleep_for(std::chrono::milliseconds(450));
        for (const Steps& step : each.steps)
            step();
        if (each.area) {
            const stage::OwnedPicture picture = recorded();
            EXPECT_EQ(lastArea(), stringFromRect(*each.area));
            EXPECT_EQ(picture->width, each.area->width + int(each.area->width) % 2);
        } else {
            awaitState("idle");
        }
        expectClosed();
    }
}

TEST_F(ChoosingTests, WindowsAreClicked) {
    const TestWindow window(desktop->display().displayName(),
                            {.frame = {300, 200, 400, 300}, .managed = true, .title = "Notes"});
    xdotool({"windowmove", "--sync", std::to_string(window.id()), "300", "200"});
    startIn("window");
    // By shortcut, while its keys are still held.
    openBy([] { xdotool({"keydown", "alt", "keydown", "super", "key", "r"}); });
    xdotool({"keyup", "super", "keyup", "alt"});
    xdotool({"mousemove", "900", "600", "click", "1", "mousemove", "500", "350", "click", "1"});
    awaitState("recording");
    const stage::OwnedPicture whole = recorded();
    EXPECT_GE(whole->width, 400);
    EXPECT_LE(whole->width, 420) << "with its frame";
    EXPECT_GE(whole->height, 300);
    EXPECT_LE(whole->height, 340);

    // The same one by way of the area: as a part of the screen, or the window alone.
    for (const bool alone : {false, true}) {
        startIn("area");
        openArea();
        xdotool({"mousemove", "500", "350", "click", "1"});
        if (alone) press({"Tab", "Right", "shift+Tab"});
        press({"Return"});
        awaitState("recording");
        const TestWindow intruder(desktop->display().displayName(),
                                  {.frame = {450, 300, 60, 60}, .colour = 0x2060c0, .title = "x"});
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
        EXPECT_EQ(run({"toggle"}).status, 0);
        awaitState("idle");
        const stage::OwnedPicture last = MovieProbe(recordings().front()).lastPicture();
        EXPECT_EQ(std::pair(last->width, last->height), std::pair(whole->width, whole->height));
        const stage::Rgb seen = last->rgbAt(last->width / 2 - 20, last->height / 2 - 20);
        EXPECT_EQ(seen.distanceTo({0x20, 0x60, 0xc0}) < 24, !alone) << seen.red << " " << seen.blue;
    }
}

TEST_F(ChoosingTests, ScreensAreClicked) {
    setMonitors({{"*MAIN", "880/220x800/200+400+0"}, {"LEFT", "400/100x700/175+0+50"}});
    startIn("screen");
    for (const auto& [x, y] : {std::pair(404, 4), {4, 740}}) {
        openByButton(x, y);
        press({"Escape"});
        awaitState("idle");
        expectClosed();
    }
    openByButton(404, 4);
    xdotool({"mousemove", "100", "640", "click", "1"});
    expectEqual(wallpaper, {0, 50, 400, 700}, *recorded());
    // An area is looked for where the last recording was, wherever the pointer is.
    xdotool({"mousemove", "900", "400"});
    openArea(4, 740);
    EXPECT_EQ(brightnessAt(404, 4), wallpaper.greyAt(404, 4));
    drag(50, 101, 350, 303);
    press({"Return"});
    expectEqual(wallpaper, {50, 101, 300, 202}, *recorded());

    TearDown();
    startIn("screen");
    EXPECT_EQ(run({"toggle"}).status, 0);
    expectEqual(wallpaper, {0, 0, width, height}, *recorded());
}

}  // namespace
}  // namespace lumicrate::test

int main(int argc, char** argv) {
    using namespace lumicrate;
    testing::InitGoogleMock(&argc, argv);
    stage::PrivateDesktop desktop({{test::width, test::height, true, false}, false});
    test::desktop = &desktop;
    return RUN_ALL_TESTS();
}
