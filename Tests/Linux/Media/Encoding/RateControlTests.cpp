// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Media/Encoding/MacroblockMap.h"
#include "Linux/Media/Encoding/RateControl.h"
#include "Linux/Media/Encoding/UncoveredBlocks.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numeric>

namespace lumicrate::media {
namespace {

constexpr double pixelRate = 1920.0 * 1080 * 30;

PictureWork changed(int blocks) {
    PictureWork work;
    work.changed = blocks;
    return work;
}

TEST(RateControlTests, QualityFollowsTheBitsPerPixel) {
    for (const auto& [bitsPerPixel, quantizer] :
         std::vector<std::pair<double, int>>{{0.06, 16}, {0.12, 13}, {0.24, 10}, {5, 10}, {0.001, 26}}) {
        const RateControl rate(static_cast<int>(bitsPerPixel * pixelRate), pixelRate, 30);
        EXPECT_EQ(rate.qualityQuantizer(), quantizer) << bitsPerPixel;
    }
}

/// Motion whose blocks take `complexity` bits at a quantizer step of 1. Returns the bits of each second.
std::vector<double> motion(RateControl& rate, double complexity, int seconds) {
    std::vector<double> perSecond(static_cast<std::size_t>(seconds), 0);
    for (int picture = 0; picture < seconds * 30; ++picture) {
        rate.advanceTo(picture / 30.0);
        const PictureWork work = changed(8160);
        const int quantizer = rate.quantizerFor(work);
        const double bits = 8160 * complexity / (0.85 * std::exp2((quantizer - 12) / 6.0));
        rate.coded(work, quantizer, std::llround(bits));
        perSecond[static_cast<std::size_t>(picture / 30)] += bits;
    }
    return perSecond;
}

TEST(RateControlTests, LastingMotionSettlesAtTheCeiling) {
    for (const double complexity : {150.0, 700.0, 1500.0}) {
        RateControl rate(7'000'000, pixelRate, 30);
        const std::vector<double> bits = motion(rate, complexity, 20);
        EXPECT_LE(std::accumulate(bits.begin(), bits.end(), 0.0), 7e6 * (20 + 2.2)) << complexity;
        EXPECT_GT(rate.available(), 0) << complexity;
        for (std::size_t second = 10; second < 20; ++second)
            EXPECT_NEAR(bits[second], 7e6, 1.1e6) << complexity << " at " << second;
    }
}

TEST(RateControlTests, SimpleContentKeepsItsQuality) {
    RateControl rate(7'000'000, pixelRate, 30);
    for (int picture = 0; picture < 1000; ++picture) {
        rate.advanceTo(picture / 30.0);
        ASSERT_EQ(rate.quantizerFor(changed(60)), rate.qualityQuantizer());
        rate.coded(changed(60), rate.qualityQuantizer(), 20000);
    }
}

TEST(RateControlTests, TheBucketRefillsAfterABurst) {
    RateControl rate(7'000'000, pixelRate, 30);
    motion(rate, 5000, 5);
    rate.advanceTo(5);
    EXPECT_GT(rate.quantizerFor(changed(8160)), rate.qualityQuantizer() + 6);
    const double before = rate.available();
    rate.advanceTo(5.5);
    EXPECT_NEAR(rate.available() - before, 3.5e6, 1);
    rate.advanceTo(60);
    EXPECT_NEAR(rate.available(), 14e6, 1);
    rate.coded(changed(8160), 20, 20'000'000);
    EXPECT_NEAR(rate.available(), -6e6, 1);
    EXPECT_EQ(rate.quantizerFor(changed(8160)), coarsestQuantizer);
}

TEST(RateControlTests, LastingCoarseMotionIsStrained) {
    RateControl rate(7'000'000, pixelRate, 30);
    const int quality = rate.qualityQuantizer();
    const auto group = [&](int blocks, int excess) {
        PictureWork key = changed(8160);
        key.key = true;
        rate.coded(key, quality + 20, 1000);
        for (int picture = 0; picture < 10; ++picture)
            rate.coded(changed(blocks), quality + excess, 1000);
        rate.coded(changed(8), quality + 30, 1000);  // few blocks count little
    };
    const struct {
        int blocks, excess;
        bool strained;
    } groups[] = {{8000, 0, false}, {8000, 2, false}, {8000, 4, true},
                  {8000, 2, true},  {0, 0, true},     {8000, 0, false}};
    EXPECT_FALSE(rate.isStrained());
    for (const auto& [blocks, excess, strained] : groups) {
        group(blocks, excess);
        EXPECT_EQ(rate.isStrained(), strained) << excess;
    }
}

TEST(RateControlTests, KeyPicturesAreFinerInMotionThatCostsLittle) {
    const struct {
        int blocks;
        std::int64_t bitsPerBlock;
        int excess, finer;
        const char* why;
    } groups[] = {{8000, 15, 0, 9, ""},
                  {8000, 200, 0, 0, "new content, not a copy of what is shown"},
                  {500, 20, 0, 0, "a small part moves"},
                  {8000, 20, 2, 0, "at the ceiling"}};
    for (const auto& [blocks, bitsPerBlock, excess, finer, why] : groups) {
        RateControl rate(7'000'000, pixelRate, 30);
        const int quality = rate.qualityQuantizer();
        rate.allowCopying();
        PictureWork key = changed(8160);
        key.key = true;
        EXPECT_EQ(rate.quantizerFor(key), quality) << "the first picture";
        rate.coded(key, quality, 8160 * 150);
        for (int picture = 0; picture < 10; ++picture)
            rate.coded(changed(blocks), quality + excess, blocks * bitsPerBlock);
        rate.advanceTo(10);
        EXPECT_EQ(rate.quantizerFor(key), quality - finer) << why;
    }
}

TEST(RateControlTests, CopyingBeginsWithAnEarlyKeyPictureAndLastsWhileCopiesAreFound) {
    RateControl rate(7'000'000, pixelRate, 30);
    const int quality = rate.qualityQuantizer();
    rate.allowCopying();
    PictureWork key = changed(8160);
    key.key = true;
    PictureWork copy = changed(8000);
    copy.isCopy = true;
    const auto pictures = [&](const PictureWork& work, int count) {
        for (int picture = 0; picture < count; ++picture)
            rate.coded(work, rate.quantizerFor(work), 15 * 8000);
    };
    rate.coded(key, quality, 8160 * 150);
    pictures(changed(8000), 14);
    EXPECT_FALSE(rate.finerKeyIsDue()) << "a short motion";
    pictures(changed(8000), 1);
    EXPECT_TRUE(rate.finerKeyIsDue());
    for (const bool areCopies : {true, true, false}) {
        rate.advanceTo(rate.isCopying() ? 20 : 10);
        EXPECT_EQ(rate.quantizerFor(key), quality - 9);
        rate.coded(key, quality - 9, 8160 * 150);
        EXPECT_TRUE(rate.isCopying());
        EXPECT_GT(rate.quantizerFor(copy), quality + 4);
        pictures(areCopies ? copy : changed(8000), 30);
        EXPECT_FALSE(rate.finerKeyIsDue()) << "the regular ones are finer";
        EXPECT_FALSE(rate.isStrained()) << "copies are coarse by choice";
    }
    rate.advanceTo(30);
    key.finest = quality + 6;
    EXPECT_EQ(rate.quantizerFor(key), quality) << "it was something new, and copies were finer than coded";
}

TEST(UncoveredBlocksTests, TheEdgesAndWhatMovesOtherwiseAreUncovered) {
    constexpr int width = 320;
    constexpr int height = 192;
    constexpr int margin = 64;
    // A page of random pixels, in which everything is different.
    constexpr int stride = width + 2 * margin;
    std::vector<std::uint8_t> page(static_cast<std::size_t>(stride * (height + 2 * margin)));
    std::uint32_t random = 1;
    for (std::uint8_t& pixel : page)
        pixel = static_cast<std::uint8_t>((random = random * 1664525 + 1013904223) >> 24);
    const std::size_t blocks = width / 16 * (height / 16);
    const struct {
        int x, y;  // of the second view
        int figure;
        std::uint8_t constant;
        std::size_t uncovered;
        const char* why;
    } motions[] = {{5, 0, 0, 0, 12, "the last column"},
                   {-20, 3, 0, 0, 2 * 12 + 18, "two columns and the last row"},
                   {5, 0, 32, 0, 12 + 4, "a figure of four blocks"},
                   {5, 0, 0, 1, 0, "nothing changed"},
                   {60, 60, 0, 0, 0, "farther than is searched: a new picture"}};
    for (const auto& [x, y, figure, constant, uncovered, why] : motions) {
        UncoveredBlocks search(width, height);
        CVPixelBuffer picture;
        picture.width = width;
        picture.height = height;
        picture.lumaStride = stride;
        const std::vector<std::uint8_t> flags(blocks, constant);
        picture.luma = page.data() + margin * stride + margin;
        search.update(picture, flags);
        EXPECT_TRUE(search.flags().empty()) << "nothing to compare with";
        std::vector<std::uint8_t> next = page;
        picture.luma = next.data() + (margin + y) * stride + margin + x;
        for (int row = 0; row < figure; ++row)
            std::fill_n(next.data() + (margin + y + 64 + row) * stride + margin + x + 64, figure, 0);
        search.update(picture, flags);
        EXPECT_EQ(std::ranges::count(search.flags(), 1), uncovered) << why;
    }
}

SCStreamFrameInfo info(std::uint64_t sequence, std::vector<PixelRect> dirty) {
    return {SCFrameStatus::complete, sequence, std::move(dirty)};
}

TEST(MacroblockMapTests, BlocksAreUnchangedOnlyIfProven) {
    MacroblockMap map(40, 20);  // three by two blocks
    const std::vector<int> none(6, 0);
    const std::vector<int> all(6, 1);
    const struct {
        std::optional<SCStreamFrameInfo> info;
        std::vector<int> unchanged;
        const char* why;
    } pictures[] = {
        {info(4, {}), none, "nothing came before"},
        {info(5, {{15, 0, 1, 16}, {32, 16, 100, 100}}), {0, 1, 1, 1, 1, 0}, ""},
        {info(6, {{15, 15, 2, 2}}), {0, 0, 1, 0, 0, 1}, ""},
        {info(6, {{0, 0, 40, 20}}), all, "the same picture again"},
        {info(8, {}), none, "a number was missed"},
        {info(7, {}), none, "an earlier one"},
        {std::nullopt, none, "no number"},
        {info(8, {}), none, "the previous one had no number"},
        {info(9, {{-20, -20, 10, 10}, {500, 0, 3, 3}}), all, "dirty outside of the picture"},
    };
    for (const auto& each : pictures) {
        map.begin(each.info);
        const auto unchanged = map.constantBlocks();
        EXPECT_EQ(std::vector<int>(unchanged.begin(), unchanged.end()), each.unchanged) << each.why;
    }
}

TEST(MacroblockMapTests, AKeyPictureIsAsFineAsWhatIsShown) {
    const RateControl rate(7'000'000, pixelRate, 30);
    const int quality = rate.qualityQuantizer();
    MacroblockMap map(48, 16);
    map.begin(info(1, {}));
    EXPECT_EQ(rate.quantizerFor(map.work(true)), quality) << "nothing is shown yet";
    map.coded(true, quality + 12, {});
    map.begin(info(2, {}));
    EXPECT_EQ(rate.quantizerFor(map.work(true)), quality + 12);
    EXPECT_EQ(rate.quantizerFor(map.work(false)), quality) << "others may become finer";
    map.beginAgain();
    map.coded(false, quality, {});
    map.begin(info(2, {}));
    EXPECT_EQ(rate.quantizerFor(map.work(true)), quality) << "a still picture stays crisp";
}

TEST(MacroblockMapTests, RemembersTheQuantizerOfEachBlock) {
    MacroblockMap map(48, 16);
    map.begin(info(1, {}));
    map.coded(true, 40, {});
    map.begin(info(2, {{0, 0, 16, 16}}));
    EXPECT_EQ(map.work(false).codedBlocks(20), 3) << "coarse blocks are coded again";
    EXPECT_EQ(map.work(false).codedBlocks(40), 1);
    EXPECT_EQ(map.work(true).codedBlocks(40), 3);
    map.coded(false, 45, {});
    EXPECT_EQ(map.coarsest(), 45);
    map.beginAgain();
    EXPECT_EQ(map.work(false).codedBlocks(42), 1);
    map.coded(false, 20, {});
    EXPECT_EQ(map.coarsest(), 20);
}

TEST(ScrollSearchTests, FindsHowFarMostOfThePictureMoved) {
    constexpr int side = 320;
    constexpr int reach = 200;
    // Random pixels, in which everything is different; the left quarter never moves.
    std::vector<std::uint8_t> page(static_cast<std::size_t>((side + 2 * reach) * (side + 2 * reach)));
    std::uint32_t random = 1;
    for (std::uint8_t& pixel : page)
        pixel = static_cast<std::uint8_t>((random = random * 1664525 + 1013904223) >> 24);
    const auto view = [&](int x, int y) {
        std::vector<std::uint8_t> pixels(static_cast<std::size_t>(side * side));
        for (int row = 0; row < side; ++row)
            for (int column = 0; column < side; ++column) {
                const bool fixed = column < side / 4;
                const int from =
                    (row + reach + (fixed ? 0 : y)) * (side + 2 * reach) + column + reach + (fixed ? 0 : x);
                pixels[static_cast<std::size_t>(row * side + column)] = page[static_cast<std::size_t>(from)];
            }
        return pixels;
    };
    const std::vector<PixelRect> all{{0, 0, side, side}};
    const struct {
        int x, y;
        std::optional<ScrollDistance> expected;
    } moves[] = {{0, 45, ScrollDistance{0, -45}},
                 {0, -130, ScrollDistance{0, 130}},
                 {7, 0, ScrollDistance{-7, 0}},
                 {-90, 0, ScrollDistance{90, 0}},
                 {0, 0, std::nullopt},
                 {13, 17, std::nullopt}};
    for (const auto& [x, y, expected] : moves) {
        ScrollSearch search(side, side);
        const std::vector<std::uint8_t> before = view(0, 0);
        const std::vector<std::uint8_t> after = view(x, y);
        CVPixelBuffer picture;
        picture.width = picture.height = picture.lumaStride = side;
        picture.luma = before.data();
        EXPECT_EQ(search.update(picture, all), std::nullopt);
        picture.luma = after.data();
        EXPECT_EQ(search.update(picture, all), expected) << x << ", " << y;
        EXPECT_EQ(search.isScrolled(10, 10), expected.has_value());
        EXPECT_FALSE(search.isScrolled(1, y > 0 ? 19 : 0)) << "has just come into view";
    }
}

TEST(MacroblockMapTests, ScrolledBlocksCostNothingAtTheirQuantizer) {
    // Two views of a page with lines of their own, moved by a block.
    constexpr int side = 96;
    const auto view = [](int first) {
        std::vector<std::uint8_t> pixels(side * side);
        for (std::size_t i = 0; i < pixels.size(); ++i)
            pixels[i] = static_cast<std::uint8_t>((i / side + static_cast<std::size_t>(first)) * 37 % 251);
        return pixels;
    };
    ScrollSearch search(side, side);
    MacroblockMap map(side, side);
    CVPixelBuffer picture;
    picture.width = picture.height = picture.lumaStride = side;
    for (int first : {0, 16}) {
        const std::vector<std::uint8_t> pixels = view(first);
        picture.luma = pixels.data();
        map.begin(info(static_cast<std::uint64_t>(first / 16), {{0, 0, side, side}}));
        const auto distance = search.update(picture, map.changes());
        if (distance) map.addScroll(search, *distance);
        map.coded(first == 0, 20, {});
    }
    EXPECT_EQ(map.work(false).codedBlocks(20), 6) << "the row that has come into view";
    EXPECT_EQ(map.work(false).codedBlocks(19), 36);
}

}  // namespace
}  // namespace lumicrate::media
