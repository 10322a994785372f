// SPDX-License-Identifier: GPL-3.0-or-later
// The pictures of screen casts, from a real server.
#include "Linux/Pictures/PictureSource.h"
#include "Linux/PipeWire/ScreenCastPicture.h"
#include "Tests/Linux/Pictures/FrameCollector.h"
#include "Tests/Linux/PipeWire/SoundStage.h"
#include "Tests/Linux/PipeWire/VirtualScreen.h"
#include "Tests/Stage/SoundServer.h"

#include <gtest/gtest.h>

#include <optional>

namespace lumicrate::test {
namespace {

using pictures::BgraPicture;
using stage::VirtualScreen;
using Facts = VirtualScreen::Facts;

class ScreenCastTests : public testing::Test {
 protected:
    static constexpr PixelSize size{323, 203};  // odd, and not a multiple of the block size
    static constexpr PixelRect whole{0, 0, size.width, size.height};

    static void SetUpTestSuite() { server = std::make_unique<stage::SoundServer>(); }
    static void TearDownTestSuite() { server.reset(); }
    ScreenCastTests() {
        configuration.width = size.width;
        configuration.height = size.height;
        configuration.minimumFrameInterval = CMTime(1, 60);
    }
    void cast(VirtualScreen::Options options = {}) {
        options.size = size;
        screen.emplace(options);
        source = pipewire::screenCastSource({.address = {.node = screen->node()}}, configuration);
        source->start(frames.handlers());
    }
    /// Sends a picture until the server has passed it on and the source has delivered what is expected.
    void expectShown(const Picture& expected, const char* what, const BgraPicture& sent,
                     const Facts& facts = {}) {
        std::chrono::steady_clock::time_point due;
        EXPECT_TRUE(frames.waitUntil([&](const auto& seen) {
            if (std::chrono::steady_clock::now() >= due && screen->offer(sent, facts))
                due = std::chrono::steady_clock::now() + std::chrono::milliseconds(500);
            return seen.last == expected;
        })) << what;
    }
    void expectShown(const BgraPicture& sent, const char* what, const Facts& facts = {}) {
        expectShown(Picture(sent), what, sent, facts);
    }
    /// What a stream of that size shows of a picture.
    static Picture part(const BgraPicture& of, const PixelRect& rect) {
        return Picture(painted(rect.width, rect.height, [&](int x, int y) {
            const bool isInside =
                x + rect.x >= 0 && y + rect.y >= 0 && x + rect.x < of.width() && y + rect.y < of.height();
            return isInside ? of.row(y + rect.y)[x + rect.x] : 0U;
        }));
    }
    /// Different in every block, and in every picture.
    static BgraPicture pattern(int number, PixelSize of = size) {
        return painted(of.width, of.height, [number](int x, int y) {
            return static_cast<std::uint32_t>((x * 3 + number * 40) & 0xff) << 16 | (y & 0xff) << 8 |
                   ((x + y + number * 90) & 0xff);
        });
    }
    void expectNoFault(const std::string& failure = {}) {
        source->stop();
        EXPECT_EQ(frames.seen().violation, "");
        EXPECT_EQ(frames.seen().failure, failure);
    }

    static inline std::unique_ptr<stage::SoundServer> server;
    SCStreamConfiguration configuration;
    FrameCollector frames;
    std::optional<VirtualScreen> screen;
    std::unique_ptr<SampleSource> source;
};

TEST_F(ScreenCastTests, PixelsOfAllFormatsAreExact) {
    for (const auto format :
         {SPA_VIDEO_FORMAT_BGRx, SPA_VIDEO_FORMAT_BGRA, SPA_VIDEO_FORMAT_RGBx, SPA_VIDEO_FORMAT_RGBA,
          SPA_VIDEO_FORMAT_xRGB, SPA_VIDEO_FORMAT_ARGB, SPA_VIDEO_FORMAT_xBGR, SPA_VIDEO_FORMAT_ABGR}) {
        cast({.pixels = format, .hasMetadata = format % 2 == 0, .extraStride = format % 3 * 12});
        expectShown(pattern(format), "first");
        expectShown(pattern(format + 1), "second");
        source->stop();
        EXPECT_EQ(frames.seen().failure, "");
    }
}

TEST_F(ScreenCastTests, DamageIsAHintAndOnlyChangesAreDelivered) {
    cast();
    BgraPicture picture = pattern(0);
    expectShown(picture, "first");
    const auto draw = [&](const PixelRect& rect, std::uint32_t colour) {
        for (int y = rect.y; y < rect.maxY(); ++y)
            std::fill_n(picture.row(y) + rect.x, rect.width, colour);
    };
    // Twice what changed, in a list that may be read.
    draw({20, 30, 7, 5}, 0xff0000);
    expectShown(picture, "a clear list",
                {.damage = std::vector<PixelRect>{{16, 16, 60, 40}, {200, 100, 20, 20}}});
    EXPECT_EQ(frames.seen().complete.back().frameInfo->dirtyRects,
              (std::vector<PixelRect>{{16, 16, 16, 32}}));
    // In lists that say nothing; the changes are elsewhere.
    draw({300, 190, 9, 9}, 0x00ff00);
    expectShown(picture, "the first entry unused", {.damage = std::vector<PixelRect>{{}, {0, 0, 9, 9}}});
    draw({100, 0, 9, 9}, 0x0000ff);
    expectShown(picture, "more than fit", {.damage = std::vector<PixelRect>(16, {0, 50, 9, 9})});

    ASSERT_TRUE(frames.waitUntil([](const auto& seen) { return seen.idle > 0; }));
    const std::size_t delivered = frames.seen().complete.size();
    EXPECT_EQ(delivered, 4U);
    screen->show(picture);
    screen->show(picture, {.isCorrupted = true});
    draw({0, 0, 2, 2}, 0xffffff);
    expectShown(picture, "last", {.damage = std::vector<PixelRect>{{0, 0, 2, 2}}});
    EXPECT_EQ(frames.seen().complete.size(), delivered + 1) << "nothing for what did not change";
    expectNoFault();
}

TEST_F(ScreenCastTests, CropTransformAndSizeAreFollowed) {
    // A window on its screen: resized, moved, and turned with the screen. The stream keeps its size.
    configuration.width = 100;
    configuration.height = 60;
    cast();
    const BgraPicture picture = pattern(1);
    expectShown(Picture(plain(100, 60, 0x808080)), "scaled", plain(size.width, size.height, 0x808080),
                {.crop = PixelRect{20, 20, 50, 30}});
    expectShown(part(picture, {11, 22, 100, 60}), "resized", picture, {.crop = PixelRect{11, 22, 100, 60}});
    expectShown(part(picture, {51, 33, 100, 60}), "moved", picture,
                {.damage = std::vector<PixelRect>{{0, 0, 1, 1}}, .crop = PixelRect{51, 33, 100, 60}});
    expectShown(Picture(painted(100, 60, [&](int x, int y) { return picture.row(33 + 99 - x)[51 + y]; })),
                "turned", picture,
                {.crop = PixelRect{51, 33, 60, 100}, .transform = SPA_META_TRANSFORMATION_90});
    screen->resize({100, 60});
    expectShown(pattern(2, {100, 60}), "another size of the screen");
    expectNoFault();
}

TEST_F(ScreenCastTests, APartInPointsIsShownAndMayChange) {
    configuration.width = 120;
    configuration.height = 80;
    configuration.sourceRect = Rect{-5, 10, 30, 20};
    screen.emplace(VirtualScreen::Options{.size = {400, 200}});
    source =
        pipewire::screenCastSource({.address = {.node = screen->node()}, .size = {100, 50}}, configuration);
    source->start(frames.handlers());
    const BgraPicture picture = pattern(3, {400, 200});
    expectShown(part(picture, {-20, 40, 120, 80}), "four pixels per point, black outside", picture);
    configuration.sourceRect = Rect{60, 20, 30, 20};
    source->update(configuration);
    EXPECT_TRUE(frames.waitForPicture(part(picture, {240, 80, 120, 80})))
        << "without a new picture from the screen";
    expectNoFault();
}

TEST_F(ScreenCastTests, TheCursorIsDrawnWhileItIsShown) {
    cast();
    const BgraPicture picture = pattern(4);
    const auto withCursor = [&](int x, int y) {
        BgraPicture drawn = picture;
        std::fill_n(drawn.row(y) + x, 2, 0xff8000U);
        return Picture(drawn);
    };
    VirtualScreen::Cursor cursor{
        .x = 50, .y = 60, .hotX = 1, .size = {2, 1}, .bitmap = {0xffff8000, 0xffff8000}};
    expectShown(withCursor(49, 60), "with the frame", picture, {.cursor = cursor});
    cursor = {.x = 70, .y = 20};
    expectShown(withCursor(69, 20), "moved without a frame", picture,
                {.cursor = cursor, .isCorrupted = true});
    configuration.showsCursor = false;
    source->update(configuration);
    EXPECT_TRUE(frames.waitForPicture(Picture(picture))) << "not shown";
    configuration.showsCursor = true;
    source->update(configuration);
    EXPECT_TRUE(frames.waitForPicture(withCursor(69, 20))) << "shown again";
    expectShown(picture, "hidden by the producer", {.cursor = VirtualScreen::Cursor{0}, .isCorrupted = true});
    expectNoFault();
}

TEST_F(ScreenCastTests, AFewBuffersSuffice) {
    for (const int buffers : {2, 8}) {
        cast({.buffers = buffers});
        for (int i = 0; i < 30; ++i) {
            expectShown(pattern(i), "each in its time");
        }
        source->stop();
        EXPECT_EQ(frames.seen().failure, "");
    }
}

TEST_F(ScreenCastTests, TheEndOfAScreenIsReportedOnce) {
    const std::string missing = "The screen can't be captured.";
    const std::string lost = "The screen can no longer be captured.";
    EXPECT_EQ(startError(pipewire::screenCastSource({.address = {.node = 987654}}, configuration)), missing);
    const auto begin = [&] {
        cast();
        expectShown(pattern(5), "before the end");
    };
    begin();
    screen.reset();
    EXPECT_TRUE(frames.waitUntil([&](const auto& seen) { return seen.failure == lost; }));
    expectNoFault(lost);
    begin();
    server->kill();
    EXPECT_TRUE(frames.waitUntil([&](const auto& seen) { return seen.failure == lost; }));
    source->stop();
    EXPECT_EQ(startError(pipewire::screenCastSource({.address = {.node = 1}}, configuration)), missing);
    screen.reset();
    server->revive();
}

}  // namespace
}  // namespace lumicrate::test
