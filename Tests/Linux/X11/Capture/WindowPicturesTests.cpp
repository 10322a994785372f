// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/X11/Capture/WindowPictures.h"
#include "Linux/X11/Screens/Displays.h"
#include "Linux/X11/Windows/WindowList.h"
#include "Lumicrate/Capture/NeverRecorded.h"
#include "Tests/Linux/Pictures/Pictures.h"
#include "Tests/Linux/X11/TestWindow.h"
#include "Tests/Stage/Xvfb.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

namespace lumicrate::x11 {
namespace {

using test::TestWindow;

constexpr Size unlimited{10000, 10000};

std::uint32_t at(const CGImage& image, int x, int y) {
    const std::uint8_t* const rgb = image.pixels.data() + (std::size_t(y) * image.width + x) * 3;
    return std::uint32_t{rgb[0]} << 16 | std::uint32_t{rgb[1]} << 8 | rgb[2];
}

Size sizeOf(const CGImage& image) {
    return {double(image.width), double(image.height)};
}

/// Every pixel has another colour.
std::uint32_t patternAt(int x, int y) {
    return static_cast<std::uint32_t>(x << 16 | y << 8 | ((x ^ y) & 0xff)) & 0xffffff;
}

/// With a compositing manager and without one.
class WindowPicturesTests : public testing::TestWithParam<bool> {
 protected:
    TestWindow show(const TestWindow::Look& look) const { return {server.displayName(), look}; }
    /// The image is that part of the pattern.
    static void expectPattern(const std::optional<CGImage>& image, const PixelRect& part) {
        ASSERT_TRUE(image);
        ASSERT_EQ(sizeOf(*image), (Size{double(part.width), double(part.height)}));
        for (int y = 0; y < part.height; ++y)
            for (int x = 0; x < part.width; ++x)
                ASSERT_EQ(at(*image, x, y), patternAt(part.x + x, part.y + y)) << x << " " << y;
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

TEST_P(WindowPicturesTests, AWindowIsCompleteWhereverItIs) {
    TestWindow window = show({.frame = {30, 20, 200, 150}});
    window.fill(test::painted(200, 150, patternAt));
    const auto expectComplete = [&] {
        expectPattern(pictures.captureImage(window.id(), unlimited), {0, 0, 200, 150});
    };
    expectComplete();
    TestWindow cover = show({.frame = {0, 0, 130, 400}, .colour = 0xff00ff});
    expectComplete();
    cover.place({0, 0, 400, 300});
    expectComplete();
    window.move(-50, 200);
    expectComplete();

    window.unmap();
    EXPECT_FALSE(pictures.captureImage(window.id(), unlimited));
    EXPECT_FALSE(pictures.captureImage(4711, unlimited));
    EXPECT_FALSE(pictures.captureImage(cover.id(), {0, 100}));
    server.kill();
    EXPECT_FALSE(pictures.captureImage(cover.id(), unlimited));
    EXPECT_FALSE(WindowPictures(":4711").captureImage(1, unlimited));
}

TEST_P(WindowPicturesTests, APictureShowsTheFrameWithItsDecoration) {
    const TestWindow window =
        show({.frame = {60, 60, 160, 90}, .colour = 0x3050a0, .managed = true, .title = "x"});
    ASSERT_TRUE(test::eventually([&] {
        const auto bounds = list.bounds(window.id());
        return bounds && bounds->height > 90;
    }));
    const TestWindow cover = show({.frame = {0, 0, 400, 300}, .colour = 0xff00ff});
    const Rect bounds = list.bounds(window.id()).value();
    const auto image = pictures.captureImage(window.id(), unlimited);
    ASSERT_TRUE(image);
    EXPECT_EQ(sizeOf(*image), bounds.size());
    EXPECT_EQ(at(*image, image->width / 2, image->height - 20), 0x3050a0U);
    EXPECT_NE(at(*image, image->width / 2, 4), 0x3050a0U) << "no title bar";
    EXPECT_NE(at(*image, image->width / 2, 4), 0xff00ffU);
}

TEST_P(WindowPicturesTests, PicturesAreScaledDownUniformlyAndNeverEnlarged) {
    TestWindow window = show({.frame = {10, 10, 200, 100}});
    window.fill(test::painted(200, 100, [](int x, int y) { return (x + y) % 2 == 0 ? 0xffffffU : 0U; }));
    for (const auto& [maximum, size] : {std::pair<Size, Size>{{100, 100}, {100, 50}},
                                        {{500, 25}, {50, 25}},
                                        {{3, 3}, {3, 2}},
                                        {{1, 1}, {1, 1}}}) {
        const auto image = pictures.captureImage(window.id(), maximum).value();
        EXPECT_EQ(sizeOf(image), size);
        EXPECT_THAT(image.pixels, testing::Each(testing::AllOf(testing::Ge(125), testing::Le(129))));
    }
}

TEST_P(WindowPicturesTests, ADisplayIsCapturedWithoutThePointer) {
    test::ScreenPainter painter(server.displayName());
    painter.setMonitor("LEFT", {0, 180, 150, 100});
    painter.setMonitor("RIGHT", {150, 0, 250, 300});
    TestWindow ground = show({.frame = {0, 0, 400, 300}});
    ground.fill(test::painted(400, 300, patternAt));
    painter.movePointer(200, 100);
    // The compositing manager paints with a delay.
    ASSERT_TRUE(test::eventually([&] {
        const auto image = pictures.captureDisplay(displayNamed("RIGHT"));
        return image && at(*image, 249, 299) == patternAt(399, 299);
    }));
    expectPattern(pictures.captureDisplay(displayNamed("RIGHT")), {150, 0, 250, 300});
    expectPattern(pictures.captureDisplay(displayNamed("LEFT")), {0, 180, 150, 100});
    EXPECT_FALSE(pictures.captureDisplay(4711));
    const std::uint32_t left = displayNamed("LEFT");
    server.kill();
    EXPECT_FALSE(pictures.captureDisplay(left));
}

/// What is offered to choose from shows nothing of an application that is never recorded.
TEST_P(WindowPicturesTests, NoPictureOfOtherWindowsShowsAnUnwantedOne) {
    constexpr std::uint32_t secret = 0xff00ff;
    TestWindow below =
        show({.frame = {20, 20, 200, 150}, .colour = 0x204060, .title = "below", .windowClass = "Notes"});
    TestWindow unwanted = show(
        {.frame = {60, 40, 200, 150}, .colour = secret, .title = "passwords", .windowClass = "KeePassXC"});
    TestWindow above =
        show({.frame = {200, 100, 150, 120}, .colour = 0x608040, .title = "above", .windowClass = "Notes"});
    std::vector<std::string> titles;
    for (const SCWindow& each : withoutNeverRecorded(list.windows(), {"keepassxc"})) {
        titles.push_back(each.title.value_or(""));
        const auto picture = pictures.captureImage(each.windowID, unlimited);
        ASSERT_TRUE(picture);
        for (int y = 0; y < picture->height; ++y)
            for (int x = 0; x < picture->width; ++x)
                ASSERT_NE(at(*picture, x, y), secret) << titles.back();
    }
    EXPECT_THAT(titles, testing::IsSupersetOf({"below", "above"}));
    EXPECT_THAT(titles, testing::Not(testing::Contains("passwords")));
}

}  // namespace
}  // namespace lumicrate::x11
