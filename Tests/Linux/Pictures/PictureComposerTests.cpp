// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Pictures/PictureComposer.h"
#include "Tests/Linux/Pictures/Pictures.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>

namespace lumicrate::pictures {
namespace {

using test::Picture;
using testing::Each;
using testing::ElementsAre;

std::mt19937 generator(11);

int upTo(int limit) {
    return static_cast<int>(generator() % static_cast<unsigned>(limit));
}

void scribble(BgraPicture& picture, const PixelRect& rect) {
    for (int y = rect.y; y < rect.maxY(); ++y)
        for (int x = rect.x; x < rect.maxX(); ++x)
            picture.row(y)[x] = static_cast<std::uint32_t>(generator()) & 0xffffff;
}

/// The colours, without the fourth byte.
std::vector<std::uint32_t> pixelsOf(const BgraPicture& picture) {
    std::vector<std::uint32_t> pixels(picture.row(0), picture.row(0) + picture.bounds().area());
    for (std::uint32_t& each : pixels)
        each &= 0xffffff;
    return pixels;
}

std::shared_ptr<const CursorImage> halfTransparentCursor() {
    auto image = std::make_shared<CursorImage>(CursorImage{9, 7, 2, 3, {}});
    for (int i = 0; i < 63; ++i)
        image->pixels.push_back(i % 3 == 0 ? 0xff102030U : 0x80400000U);
    return image;
}

TEST(PictureScalerTests, PartsMatchTheWholeAndNothingElseDependsOnThem) {
    const struct {
        int sourceWidth, sourceHeight, width, height;
    } cases[] = {{90, 60, 60, 40}, {97, 61, 31, 47}, {40, 30, 40, 15},
                 {20, 10, 53, 31}, {1, 1, 7, 5},     {50, 50, 1, 1}};
    for (const auto& [sourceWidth, sourceHeight, width, height] : cases) {
        BgraPicture source(sourceWidth, sourceHeight);
        PictureScaler scaler(sourceWidth, sourceHeight, width, height);
        BgraPicture whole(width, height);
        for (int round = 0; round < 20; ++round) {
            const int x = upTo(sourceWidth);
            const int y = upTo(sourceHeight);
            const PixelRect change{x, y, 1 + upTo(sourceWidth - x), 1 + upTo(sourceHeight - y)};
            scribble(source, change);
            scaler.scale(source.view(), scaler.affectedBy(change), whole, 0, 0);
            BgraPicture anew(width, height);
            scaler.scale(source.view(), anew.bounds(), anew, 0, 0);
            ASSERT_EQ(pixelsOf(whole), pixelsOf(anew)) << width;
        }
    }
}

TEST(PictureScalerTests, HalvingAveragesAndPlainColoursAreKept) {
    const std::uint32_t rows[2][4] = {{0x000000, 0x640000, 0xffffff, 0xffffff},
                                      {0x0000c8, 0x640028, 0xffffff, 0xffffff}};
    const BgraPicture source = test::painted(4, 2, [&](int x, int y) { return rows[y][x]; });
    BgraPicture half(2, 1);
    PictureScaler(4, 2, 2, 1).scale(source.view(), half.bounds(), half, 0, 0);
    EXPECT_THAT(pixelsOf(half), ElementsAre(0x32003cU, 0xffffffU));

    for (const std::uint32_t plain : {0xffffffU, 0x010203U, 0x80fe7fU}) {
        const BgraPicture field = test::plain(71, 53, plain);
        BgraPicture out(23, 67);
        PictureScaler(71, 53, 23, 67).scale(field.view(), out.bounds(), out, 0, 0);
        EXPECT_THAT(pixelsOf(out), Each(plain));
    }
}

TEST(CursorOverlayTests, BlendsOverThePictureAndRestoresIt) {
    for (const auto& [x, y] : {std::pair{20, 20}, {0, 0}, {31, 31}, {-50, 5}, {100, 100}}) {
        BgraPicture picture(32, 32);
        scribble(picture, picture.bounds());
        const BgraPicture before = picture;
        const CursorOverlay cursor(halfTransparentCursor(), x, y);
        {
            const CursorOverlay::Drawn drawn(cursor, picture);
            const BgraPicture expected = test::painted(32, 32, [&](int column, int row) {
                const std::uint32_t below = before.row(row)[column];
                const int cx = column - (x - 2);
                const int cy = row - (y - 3);
                if (cx < 0 || cx >= 9 || cy < 0 || cy >= 7) return below;
                if ((cy * 9 + cx) % 3 == 0) return 0x102030U;
                const auto through = [&](int shift) { return ((below >> shift & 0xff) * 127 + 127) / 255; };
                return (0x40 + through(16)) << 16 | through(8) << 8 | through(0);
            });
            EXPECT_EQ(pixelsOf(picture), pixelsOf(expected)) << x;
        }
        EXPECT_EQ(pixelsOf(picture), pixelsOf(before)) << x;
    }
}

TEST(PictureComposerTests, PlacementIsCentredOrStretched) {
    EXPECT_EQ(placement(1000, 1000, 1280, 720, true), (PixelRect{280, 0, 720, 720}));
    EXPECT_EQ(placement(2000, 500, 1280, 720, true), (PixelRect{0, 200, 1280, 320}));
    EXPECT_EQ(placement(2, 3, 100, 100, true), (PixelRect{16, 0, 67, 100})) << "rounded";
    EXPECT_EQ(placement(3, 2, 100, 100, true), (PixelRect{0, 16, 100, 67})) << "rounded";
    EXPECT_EQ(placement(5000, 1, 100, 100, true), (PixelRect{0, 49, 100, 1}));
    EXPECT_EQ(placement(2000, 500, 1280, 720, false), (PixelRect{0, 0, 1280, 720}));
}

/// Buffers of different age are updated by small steps. Each picture must equal one that is composed from
/// scratch, and may differ from the previous one only in the dirty region.
TEST(PictureComposerTests, EveryPictureEqualsOneComposedFromScratch) {
    struct Case {
        int sourceWidth, sourceHeight, width, height;
        bool preservesAspectRatio;
        int maxPadding = 0;
    };
    for (const Case& each :
         {Case{131, 77, 131, 77, true}, Case{131, 77, 87, 51, true}, Case{131, 77, 64, 64, true},
          Case{64, 48, 131, 77, false}, Case{128, 76, 131, 77, true, 3}}) {
        BgraPicture source(each.sourceWidth, each.sourceHeight);
        PictureComposer composer(each.width, each.height);
        composer.setSource(each.sourceWidth, each.sourceHeight, each.preservesAspectRatio, each.maxPadding);
        PixelBufferPool pool(each.width, each.height, 4, std::make_shared<WakeUp>());
        std::vector<std::shared_ptr<PixelBuffer>> held;
        std::optional<Picture> previous;
        CursorOverlay cursor;
        for (int round = 0; round < 60; ++round) {
            const PixelRect change =
                PixelRect{upTo(each.sourceWidth), upTo(each.sourceHeight), 1 + upTo(30), 1 + upTo(30)}
                    .intersection(source.bounds());
            scribble(source, change);
            BlockRegion changed(each.sourceWidth, each.sourceHeight);
            changed.add(change);
            composer.invalidate(changed);
            if (round % 3 == 0) {
                composer.invalidate(cursor.frame().intersection(source.bounds()));
                cursor =
                    CursorOverlay(halfTransparentCursor(), upTo(each.sourceWidth), upTo(each.sourceHeight));
                composer.invalidate(cursor.frame().intersection(source.bounds()));
            }
            const BlockRegion dirty = composer.dirty();
            pool.invalidate(dirty);
            const auto buffer = pool.acquire();
            composer.compose(source, cursor, *buffer);

            PictureComposer fresh(each.width, each.height);
            fresh.setSource(each.sourceWidth, each.sourceHeight, each.preservesAspectRatio, each.maxPadding);
            PixelBuffer expected(each.width, each.height);
            fresh.compose(source, cursor, expected);
            const Picture picture(*buffer);
            ASSERT_TRUE(picture == Picture(expected)) << round;

            if (previous) {
                for (const PixelRect& rect : dirty.rectangles())
                    previous->copy(rect, picture);
                ASSERT_TRUE(picture == *previous) << round;
            }
            previous = picture;
            // Up to two more stay in use for a while, so that the free ones age.
            if (held.size() == 2) held.erase(held.begin() + upTo(2));
            held.push_back(buffer);
        }
    }
}

/// Two sources that differ only below the covers, with a cursor there in one of them, give equal pictures.
TEST(PictureComposerTests, NothingBelowACoverIsInThePicture) {
    struct Case {
        int sourceWidth, sourceHeight, width, height, maxPadding = 0;
    };
    for (const Case& each :
         {Case{131, 77, 131, 77}, Case{131, 77, 87, 51}, Case{64, 48, 131, 77}, Case{128, 76, 131, 77, 3}}) {
        const auto anyRect = [&](int side) {
            return PixelRect{upTo(each.sourceWidth), upTo(each.sourceHeight), 1 + upTo(side), 1 + upTo(side)};
        };
        std::vector<PixelRect> covers;
        BgraPicture sources[] = {{each.sourceWidth, each.sourceHeight},
                                 {each.sourceWidth, each.sourceHeight}};
        PictureComposer composers[] = {{each.width, each.height}, {each.width, each.height}};
        PixelBuffer buffers[] = {{each.width, each.height}, {each.width, each.height}};
        for (PictureComposer& composer : composers)
            composer.setSource(each.sourceWidth, each.sourceHeight, true, each.maxPadding);
        for (int round = 0; round < 60; ++round) {
            const PixelRect change = anyRect(30).intersection(sources[0].bounds());
            if (round % 10 == 0) {
                covers = {anyRect(50), anyRect(9)};
                // Both are the same again where they are uncovered.
                sources[1] = sources[0];
            }
            scribble(sources[0], change);
            for (int y = change.y; y < change.maxY(); ++y)
                std::copy_n(sources[0].row(y) + change.x, change.width, sources[1].row(y) + change.x);
            CursorOverlay cursor;
            for (int i = 0; i < 2; ++i) {
                composers[i].setCovers(covers);
                composers[i].invalidate(change);
                for (const PixelRect& cover : covers) {
                    const PixelRect below = cover.intersection(sources[1].bounds());
                    if (i == 1) scribble(sources[1], below);
                    if (i == 1) composers[1].invalidate(below);
                }
                buffers[i].stale.add(composers[i].dirty());
                composers[i].compose(sources[i], cursor, buffers[i]);
                // Only in the second one, and only where it is covered.
                cursor = CursorOverlay(halfTransparentCursor(), covers[0].x + 2, covers[0].y + 3);
                if (cursor.frame().intersection(covers[0]) != cursor.frame()) cursor = {};
            }
            ASSERT_TRUE(Picture(buffers[0]) == Picture(buffers[1])) << round;
        }
        composers[0].setCovers({});
        buffers[0].stale.add(composers[0].dirty());
        composers[0].compose(sources[0], {}, buffers[0]);
        PictureComposer fresh(each.width, each.height);
        fresh.setSource(each.sourceWidth, each.sourceHeight, true, each.maxPadding);
        PixelBuffer expected(each.width, each.height);
        fresh.compose(sources[0], {}, expected);
        EXPECT_TRUE(Picture(buffers[0]) == Picture(expected)) << "without covers";
    }
}

}  // namespace
}  // namespace lumicrate::pictures
