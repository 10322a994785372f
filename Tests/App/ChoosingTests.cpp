// Choosing what to record on the screen of the real application by mouse and keys, judged by the recordings.
#include "Linux/X11/Pixels/BgraPicture.h"
#include "Tests/App/DesktopAppTest.h"
#include "Tests/Linux/X11/TestWindow.h"

#include <array>
#include <cmath>
#include <random>

namespace lumicrate::test {
namespace {

/// A window of random grey squares: moved by a pixel it is another picture.
class Wallpaper {
 public:
    Wallpaper(const std::string& displayName, int width, int height)
        : picture_(width, height),
          window_(displayName, {.frame = {0, 0, width, height}, .title = "Wallpaper"}) {
        std::mt19937 random(3);
        for (auto& row : greys_)
            for (auto& grey : row)
                grey = static_cast<std::uint8_t>(60 + random() % 160);
        for (int y = 0; y < height; ++y)
            for (int x = 0; x < width; ++x)
                picture_.row(y)[x] = std::uint32_t{0x010101} * greyAt(x, y);
        window_.fill(picture_);
        window_.lower();
        window_.sync();
    }
    std::uint8_t greyAt(int x, int y) const {
        return greys_[static_cast<std::size_t>(y / side)][static_cast<std::size_t>(x / side)];
    }

 private:
    static constexpr int side = 8;
    std::array<std::array<std::uint8_t, 160>, 100> greys_{};
    x11::BgraPicture picture_;
    TestWindow window_;
};

/// Mean difference per pixel between the picture and a part of the wallpaper, moved by a vector.
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

class ChoosingTests : public DesktopAppTest {
 protected:
    ChoosingTests() : DesktopAppTest(false) {}
    void SetUp() override { xdotool({"mousemove", "20", "20"}); }
    void TearDown() override {
        app.reset();
        for (const std::string& monitor : std::exchange(monitors_, {}))
            deleteMonitor(monitor);
    }

    void setMonitors(const std::vector<std::pair<const char*, const char*>>& monitors) {
        const char* output = "screen";
        for (const auto& [name, geometry] : monitors) {
            setMonitor(name, geometry, std::exchange(output, "none"));
            monitors_.emplace_back(name[0] == '*' ? name + 1 : name);
        }
    }
    void startIn(const std::string& mode, const std::string& scale = "1") {
        prefer("captureMode=" + mode +
               "\ncountdown=false\nshowCursor=false\nquality=native\nencodingQuality=maximum\n"
               "captureSystemAudio=false\n");
        start({{"QT_SCALE_FACTOR", scale}});
    }
    static int brightnessAt(int x, int y) { return Painter().read(x, y, 1, 1).front().green; }
    /// Opens the selection by `ask` and waits until the screen is dimmed at that place, which is remembered.
    void openBy(const std::function<void()>& ask, int x = 4, int y = 4) {
        const int before = brightnessAt(x, y);
        isOpen_ = [=] { return brightnessAt(x, y) < before * 0.8; };
        ask();
        awaitState("selectingArea");
        ASSERT_TRUE(eventually(isOpen_));
    }
    void openArea(int x = 4, int y = 4) {
        openBy([] { send("area"); }, x, y);
    }
    void openByButton(int x, int y) {
        openBy([] { send("toggle"); }, x, y);
    }
    void expectClosed() {
        ASSERT_TRUE(eventually([this] { return !isOpen_(); }));
    }
    static void press(const std::vector<std::string>& keys) {
        for (const std::string& key : keys)
            xdotool({"key", key});
    }
    /// Ctrl turns snapping off. The button is pressed and released by name, because a second click soon after
    /// another would be a double click.
    static void drag(int fromX, int fromY, int toX, int toY) {
        xdotool({"mousemove", std::to_string(fromX), std::to_string(fromY), "keydown", "ctrl", "mousedown",
                 "1", "mousemove", std::to_string((fromX + toX) / 2), std::to_string((fromY + toY) / 2),
                 "mousemove", std::to_string(toX), std::to_string(toY), "mouseup", "1", "keyup", "ctrl"});
    }
    /// Waits for the recording, stops it, and returns its first picture.
    stage::OwnedPicture recorded() {
        const std::filesystem::path recording = awaitRecording();
        EXPECT_TRUE(eventually([] { return status()["elapsed"] > 0.2; }));
        send("toggle");
        awaitState("idle");
        stage::OwnedPicture first;
        MovieProbe(recording).visitPictures([&](const Picture& picture) {
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

    Wallpaper wallpaper{display(), width, height};

 private:
    std::vector<std::string> monitors_;
    std::function<bool()> isOpen_;
};

TEST_F(ChoosingTests, TheDraggedAreaIsRecordedToThePixel) {
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
        // The area is offered again; move it by a pixel.
        openArea(area.x - 40, area.y - 20);
        press({"Right", "Return"});
        expectEqual(wallpaper, area.offsetBy(1, 0), *recorded());
        TearDown();
    }
}

TEST_F(ChoosingTests, AnAreaIsAdjustedByHandlesKeysShapesAndFields) {
    using Steps = std::function<void()>;
    const auto keys = [](std::vector<std::string> all) { return [all] { press(all); }; };
    const auto dragged = [](int fromX, int fromY, int toX, int toY) {
        return [=] { drag(fromX, fromY, toX, toY); };
    };
    const auto clicked = [](const char* button, int x, int y) { return [=] { click(x, y, button); }; };
    const struct {
        const char* name;
        std::vector<Steps> steps;  // after 300, 200, 400, 240 was drawn
        std::optional<Rect> area;
    } cases[] = {
        {"top left", {dragged(300, 200, 340, 180), keys({"Return"})}, Rect{340, 180, 360, 260}},
        {"bottom", {dragged(500, 440, 510, 460), keys({"KP_Enter"})}, Rect{300, 200, 400, 260}},
        {"moved", {dragged(500, 300, 560, 290), keys({"Return"})}, Rect{360, 190, 400, 240}},
        {"arrows",
         {keys({"shift+Left", "Up", "alt+Right", "alt+shift+Down", "Return"})},
         Rect{290, 199, 401, 250}},
        {"drawn again", {dragged(800, 500, 900, 600), keys({"Return"})}, Rect{800, 500, 100, 100}},
        {"typed", {keys({"Tab", "Tab", "6", "4", "0", "Return", "Return"})}, Rect{300, 200, 640, 240}},
        {"shaped", {keys({"Tab", "space", "Up", "Return", "Return"})}, Rect{300, 120, 400, 400}},
        {"by a click outside, everything",
         {clicked("1", 1200, 700), keys({"Return"})},
         Rect{0, 0, width, height}},
        {"by a double click",
         {[] {
             xdotool({"mousemove", "500", "300", "click", "--repeat", "2", "--delay", "40", "1"});
         }},
         Rect{300, 200, 400, 240}},
        {"cancelled", {keys({"Escape"})}, std::nullopt},
        {"cancelled by the right button", {clicked("3", 500, 300)}, std::nullopt},
    };
    for (const auto& each : cases) {
        SCOPED_TRACE(each.name);
        startIn("area");
        openArea();
        drag(300, 200, 700, 440);
        // Longer than the interval of a double click.
        pass(0.45);
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
    const TestWindow window(display(), {.frame = {300, 200, 400, 300}, .managed = true, .title = "Notes"});
    xdotool({"windowmove", "--sync", std::to_string(window.id()), "300", "200"});
    startIn("window");
    // By shortcut, while its modifier keys are still held.
    openBy([] { xdotool({"keydown", "alt", "keydown", "super", "key", "r"}); });
    xdotool({"keyup", "super", "keyup", "alt"});
    click(900, 600);
    click(500, 350);
    awaitState("recording");
    const stage::OwnedPicture whole = recorded();
    EXPECT_GE(whole->width, 400);
    EXPECT_LE(whole->width, 420) << "with its frame";
    EXPECT_GE(whole->height, 300);
    EXPECT_LE(whole->height, 340);

    // The same window in the area selection: as a part of the screen, or the window alone.
    for (const bool alone : {false, true}) {
        startIn("area");
        openArea();
        click(500, 350);
        if (alone) press({"Tab", "Right", "shift+Tab"});
        press({"Return"});
        awaitState("recording");
        const TestWindow intruder(display(), {.frame = {450, 300, 60, 60}, .colour = 0x2060c0, .title = "x"});
        pass(0.3);
        send("toggle");
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
    click(100, 640);
    expectEqual(wallpaper, {0, 50, 400, 700}, *recorded());
    // An area is chosen on the screen of the last recording, wherever the pointer is.
    xdotool({"mousemove", "900", "400"});
    openArea(4, 740);
    EXPECT_EQ(brightnessAt(404, 4), wallpaper.greyAt(404, 4));
    drag(50, 101, 350, 303);
    press({"Return"});
    expectEqual(wallpaper, {50, 101, 300, 202}, *recorded());

    TearDown();
    startIn("screen");
    send("toggle");
    expectEqual(wallpaper, {0, 0, width, height}, *recorded());
}

}  // namespace
}  // namespace lumicrate::test
