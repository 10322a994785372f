#include "Tests/Stage/Picture.h"
#include "Tests/Stage/Scene/FrameNumber.h"

#include <gtest/gtest.h>

namespace lumicrate::stage {

namespace {

TEST(Picture, convertsTheColoursOfBt709) {
    struct Case {
        int y, cb, cr;
        Rgb color;
    };
    // The code values that the standard's own matrix gives for the corners of the colour cube.
    for (const auto& [y, cb, cr, color] : {
             Case{16, 128, 128, {0, 0, 0}},
             Case{235, 128, 128, {255, 255, 255}},
             Case{126, 128, 128, {128, 128, 128}},
             Case{63, 102, 240, {255, 0, 0}},
             Case{173, 42, 26, {0, 255, 0}},
             Case{32, 240, 118, {0, 0, 255}},
             Case{219, 16, 138, {255, 255, 0}},
         }) {
        EXPECT_LE(rgbFromBt709(y, cb, cr).distanceTo(color), 2) << y << " " << cb << " " << cr;
        EXPECT_EQ(lumaOfBt709(color), y);
    }
    EXPECT_EQ(rgbFromBt709(16, 128, 128), (Rgb{0, 0, 0}));
    EXPECT_EQ(rgbFromBt709(235, 128, 128), (Rgb{255, 255, 255}));
    EXPECT_EQ(rgbFromBt709(255, 128, 128), (Rgb{255, 255, 255}));
}

TEST(Picture, findsThePixelsOwnSamplesAlsoInACopy) {
    // 5 × 3 pixels, so that the chroma planes are 3 × 2, in rows with slack; the last pixel's are red.
    std::vector<std::uint8_t> luma(3 * 8, 235);
    std::vector<std::uint8_t> chroma(2 * 8, 128);  // Cb and Cr interleaved
    luma[2 * 8 + 4] = 63;
    chroma[8 + 4] = 102;
    chroma[8 + 5] = 240;
    Picture picture;
    picture.time = 1.5;
    picture.width = 5;
    picture.height = 3;
    picture.planes = {Plane{luma.data(), 8, 5, 3, 1}, Plane{chroma.data(), 8, 3, 2, 2},
                      Plane{chroma.data() + 1, 8, 3, 2, 2}};
    OwnedPicture moved;
    {
        OwnedPicture copy(picture);
        std::fill(luma.begin(), luma.end(), std::uint8_t{16});
        moved = std::move(copy);
    }
    EXPECT_EQ(picture.rgbAt(0, 0), (Rgb{0, 0, 0}));
    EXPECT_EQ(moved->rgbAt(0, 0), (Rgb{255, 255, 255}));
    EXPECT_EQ(moved->rgbAt(3, 2), (Rgb{255, 255, 255}));
    EXPECT_LE(moved->rgbAt(4, 2).distanceTo({255, 0, 0}), 2);
    EXPECT_EQ(moved->time, 1.5);
}

std::optional<int> readBack(const Image& image) {
    std::vector<std::uint8_t> luma;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            const auto pixel = static_cast<int>(image.at(x, y));
            luma.push_back(
                static_cast<std::uint8_t>(lumaOfBt709({pixel >> 16, pixel >> 8 & 255, pixel & 255})));
        }
    }
    return FrameNumber::read({luma.data(), image.width(), image.width(), image.height(), 1});
}

TEST(FrameNumber, isReadBackWholeOrNotAtAll) {
    Image image(FrameNumber::barWidth, FrameNumber::blockSize);
    EXPECT_EQ(readBack(image), std::nullopt);
    for (const int number : {0, 1, 2, 15, 16, 255, 256, 1023, 2730, 4095}) {
        FrameNumber::draw(image, number);
        EXPECT_EQ(readBack(image), number);
        // One block wrong, as in a picture caught half-way to the next.
        const Color corner = image.at(FrameNumber::barWidth - 1, 0);
        image.fill({FrameNumber::barWidth - FrameNumber::blockSize, 0, FrameNumber::blockSize,
                    FrameNumber::blockSize},
                   corner ^ 0xffffff);
        EXPECT_EQ(readBack(image), std::nullopt);
    }
    image.fill({0, 0, image.width(), image.height()}, 0xffffff);
    EXPECT_EQ(readBack(image), std::nullopt);
    image.fill({0, 0, image.width(), image.height()}, 0x808080);
    EXPECT_EQ(readBack(image), std::nullopt);
}

}  // namespace

}  // namespace lumicrate::stage
