#include "Linux/X11/Screens/Displays.h"
#include "Linux/X11/Windows/WindowList.h"
#include "Linux/X11/Windows/WindowPictures.h"
#include "Tests/Linux/X11/TestWindow.h"
#include "Tests/Stage/ChildProcess.h"
#include "Tests/Stage/Xvfb.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <optional>
#include <string>

namespace lumicrate::x11 {
namespace {

using test::TestWindow;

constexpr Size unlimited{10000, 10000};

std::uint32_t at(const CGImage& image, int x, int y) {
    const std::uint8_t* const rgb = image.pixels.data() + (std::size_t(y) * image.width + x) * 3;
    return std::uint32_t{rgb[0]} << 16 | std::uint32_t{rgb[1]} << 8 | rgb[2];
}

/// Every pixel has a colour of its own.
BgraPicture pattern(int width, int height) {
    BgraPicture picture(width, height);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            picture.row(y)[x] = static_cast<std::uint32_t>(x << 16 | y << 8 | ((x ^ y) & 0xff));
    return picture;
}

/// With a compositing manager and without one.
class WindowPicturesTests : public testing::TestWithParam<bool> {
 protected:
    void expectPattern(const std::optional<CGImage>& image, const BgraPicture& picture) {
        ASSERT_TRUE(image);
        ASSERT_EQ(image->width, picture.width());
        ASSERT_EQ(image->height, picture.height());
        int differences = 0;
        for (int y = 0; y < picture.height(); ++y)
            for (int x = 0; x < picture.width(); ++x)
                differences += at(*image, x, y) != (picture.row(y)[x] & 0xffffff) ? 1 : 0;
        EXPECT_EQ(differences, 0);
    }

    void setMonitor(const char* name, const char* place, const char* output) {
        stage::runProgram({"xrandr", "--setmonitor", name, place, output},
                          {{"DISPLAY", server.displayName()}});
    }
    std::uint32_t displayNamed(const std::string& name) const {
        for (const SCDisplay& each : Displays(server.displayName()).displays())
            if (each.localizedName == name) return each.displayID;
        return 0;
    }

    stage::Xvfb server{{.width = 400, .height = 300, .windowManager = true, .compositor = GetParam()}};
    WindowPictures pictures{server.displayName()};
    WindowList list{server.displayName()};
};

INSTANTIATE_TEST_SUITE_P(Composition, WindowPicturesTests, testing::Bool(), [](const auto& compositor) {
    return compositor.param ? "WithACompositor" : "WithoutOne";
});

TEST_P(WindowPicturesTests, AWindowIsWholeWhereverItIs) {
    const BgraPicture picture = pattern(200, 150);
    TestWindow window(server.displayName(), {.frame = {30, 20, 200, 150}});
    window.fill(picture);
    expectPattern(pictures.captureImage(window.id(), unlimited), picture);
    window.move(-50, 200);
    expectPattern(pictures.captureImage(window.id(), unlimited), picture);
    window.move(30, 20);
    TestWindow cover(server.displayName(), {.frame = {0, 0, 130, 400}, .colour = 0xff00ff});
    expectPattern(pictures.captureImage(window.id(), unlimited), picture);
    cover.place({0, 0, 400, 300});
    expectPattern(pictures.captureImage(window.id(), unlimited), picture);
}

TEST_P(WindowPicturesTests, AFrameIsThatOfTheListWithItsDecoration) {
    TestWindow window(server.displayName(),
                      {.frame = {60, 60, 160, 90}, .colour = 0x3050a0, .managed = true, .title = "x"});
    ASSERT_TRUE(test::eventually([&] {
        const auto bounds = list.bounds(window.id());
        return bounds && bounds->height > 90;
    }));
    const TestWindow cover(server.displayName(), {.frame = {0, 0, 400, 300}, .colour = 0xff00ff});
    const Rect bounds = list.bounds(window.id()).value();
    const auto image = pictures.captureImage(window.id(), unlimited);
    ASSERT_TRUE(image);
    EXPECT_EQ((Size{double(image->width), double(image->height)}), bounds.size());
    EXPECT_EQ(at(*image, image->width / 2, image->height - 20), 0x3050a0U);
    EXPECT_NE(at(*image, image->width / 2, 4), 0x3050a0U) << "no title bar";
    EXPECT_NE(at(*image, image->width / 2, 4), 0xff00ffU);
}

TEST_P(WindowPicturesTests, ItIsScaledDownEvenlyAndNeverEnlarged) {
    BgraPicture lines(200, 100);
    for (int y = 0; y < 100; ++y)
        for (int x = 0; x < 200; ++x)
            lines.row(y)[x] = (x + y) % 2 == 0 ? 0xffffffU : 0U;
    TestWindow window(server.displayName(), {.frame = {10, 10, 200, 100}});
    window.fill(lines);
    const struct {
        Size maximum;
        int width, height;
    } cases[] = {{{100, 100}, 100, 50}, {{500, 25}, 50, 25}, {{3, 3}, 3, 2}, {{1, 1}, 1, 1}};
    for (const auto& each : cases) {
        const auto image = pictures.captureImage(window.id(), each.maximum);
        ASSERT_TRUE(image);
        EXPECT_EQ(image->width, each.width);
        EXPECT_EQ(image->height, each.height);
        for (const std::uint8_t value : image->pixels)
            ASSERT_NEAR(value, 127, 2) << each.width;
    }
    EXPECT_FALSE(pictures.captureImage(window.id(), {0, 100}));
}

TEST_P(WindowPicturesTests, WhatIsNotThereHasNoPicture) {
    TestWindow window(server.displayName(), {.frame = {10, 10, 50, 50}});
    EXPECT_TRUE(pictures.captureImage(window.id(), unlimited));
    window.unmap();
    EXPECT_FALSE(pictures.captureImage(window.id(), unlimited));
    EXPECT_FALSE(pictures.captureImage(4711, unlimited));
    server.kill();
    EXPECT_FALSE(pictures.captureImage(window.id(), unlimited));
    EXPECT_FALSE(WindowPictures(":4711").captureImage(1, unlimited));
}

TEST_P(WindowPicturesTests, ADisplayIsAllThatIsSeenOnItButThePointer) {
    setMonitor("*LEFT", "150/50x100/40+0+180", "screen");
    setMonitor("RIGHT", "250/80x300/90+150+0", "none");
    const BgraPicture picture = pattern(400, 300);
    TestWindow ground(server.displayName(), {.frame = {0, 0, 400, 300}});
    ground.fill(picture);
    const auto part = [&](const PixelRect& rect) {
        BgraPicture cut(rect.width, rect.height);
        for (int y = 0; y < rect.height; ++y)
            std::copy_n(picture.row(rect.y + y) + rect.x, rect.width, cut.row(y));
        return cut;
    };
    stage::runProgram({"xdotool", "mousemove", "200", "100"}, {{"DISPLAY", server.displayName()}});
    // Who composes the screen takes his time.
    ASSERT_TRUE(test::eventually([&] {
        const auto seen = pictures.captureDisplay(displayNamed("RIGHT"));
        return seen && at(*seen, 249, 299) == (picture.row(299)[399] & 0xffffff);
    }));
    expectPattern(pictures.captureDisplay(displayNamed("RIGHT")), part({150, 0, 250, 300}));
    expectPattern(pictures.captureDisplay(displayNamed("LEFT")), part({0, 180, 150, 100}));
    EXPECT_FALSE(pictures.captureDisplay(4711));
    const std::uint32_t left = displayNamed("LEFT");
    server.kill();
    EXPECT_FALSE(pictures.captureDisplay(left));
}

}  // namespace
}  // namespace lumicrate::x11
