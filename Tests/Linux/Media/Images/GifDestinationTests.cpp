// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Media/Images/ImageIO.h"
#include "Support/Error.h"
#include "Support/Geometry.h"
#include "Tests/Linux/TemporaryFolder.h"
#include "Tests/Stage/MovieProbe.h"

#include <gif_lib.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <memory>
#include <random>
#include <stdexcept>

namespace lumicrate::media {
namespace {

struct GifFrame {
    int delay = 0;
    int disposal = 0;
    PixelRect area;
};

/// The frames of a GIF file, by giflib, which must loop forever.
std::vector<GifFrame> framesOf(const std::filesystem::path& file) {
    const std::unique_ptr<GifFileType, void (*)(GifFileType*)> gif(
        DGifOpenFileName(file.c_str(), nullptr), [](GifFileType* each) { DGifCloseFile(each, nullptr); });
    if (!gif || DGifSlurp(gif.get()) != GIF_OK) throw std::runtime_error("not a GIF");
    const ExtensionBlock* loops = gif->SavedImages[0].ExtensionBlocks;
    EXPECT_EQ(std::string(loops[0].Bytes, loops[0].Bytes + loops[0].ByteCount), "NETSCAPE2.0");
    EXPECT_EQ(loops[1].Bytes[1] | loops[1].Bytes[2], 0);
    std::vector<GifFrame> frames;
    for (int i = 0; i < gif->ImageCount; ++i) {
        GraphicsControlBlock control{};
        DGifSavedExtensionToGCB(gif.get(), i, &control);
        const GifImageDesc& place = gif->SavedImages[i].ImageDesc;
        frames.push_back(
            {control.DelayTime, control.DisposalMode, {place.Left, place.Top, place.Width, place.Height}});
    }
    return frames;
}

CGImage plain(int width, int height, int gray) {
    const auto size = static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * 3;
    return {width, height, std::vector<std::uint8_t>(size, static_cast<std::uint8_t>(gray))};
}

/// Each pixel has a random one of that many colours, which are all clearly different.
CGImage scattered(int width, int height, int colors, std::mt19937& random) {
    CGImage image = plain(width, height, 0);
    for (std::size_t i = 0; i < image.pixels.size(); i += 3) {
        const auto color = static_cast<int>(random() % static_cast<unsigned>(colors));
        image.pixels[i] = static_cast<std::uint8_t>(color % 8 * 32);
        image.pixels[i + 1] = static_cast<std::uint8_t>(color / 8 % 8 * 32);
        image.pixels[i + 2] = static_cast<std::uint8_t>(color / 64 * 64);
    }
    return image;
}

class GifDestinationTests : public testing::Test {
 protected:
    std::filesystem::path write(const std::vector<CGImage>& images, CMTime delay = CMTime(1, 10)) const {
        std::filesystem::remove(file);
        const auto gif = ImageIO().makeGIFDestination(file);
        for (const CGImage& image : images)
            gif->addImage(image, delay);
        gif->finalize();
        return file;
    }
    /// All frames as they are shown, with the layout of CGImage.
    static std::vector<std::vector<std::uint8_t>> shown(const std::filesystem::path& gif) {
        std::vector<std::vector<std::uint8_t>> frames;
        stage::MovieProbe(gif).visitPictures([&](const stage::Picture& picture) {
            std::vector<std::uint8_t>& pixels = frames.emplace_back();
            for (int y = 0; y < picture.height; ++y) {
                for (int x = 0; x < picture.width; ++x) {
                    for (const stage::Plane& plane : picture.planes)
                        pixels.push_back(plane.at(x, y));
                }
            }
            return true;
        });
        return frames;
    }

    test::TemporaryFolder folder;
    std::filesystem::path file = folder / "movie.gif";
    std::mt19937 random{7};
};

TEST_F(GifDestinationTests, RoundedDelaysAddUp) {
    const struct {
        CMTime delay;
        int min, max, total;
    } cases[] = {
        {{1, 10}, 10, 10, 600}, {{1, 12}, 8, 9, 500}, {{1, 50}, 2, 2, 120}, {{1000, 29970}, 3, 4, 200}};
    for (const auto& each : cases) {
        int total = 0;
        for (const GifFrame& frame : framesOf(write(std::vector(60, plain(4, 4, 9)), each.delay))) {
            EXPECT_GE(frame.delay, each.min);
            EXPECT_LE(frame.delay, each.max);
            total += frame.delay;
        }
        EXPECT_EQ(total, each.total);
    }
}

TEST_F(GifDestinationTests, PicturesOfFewColoursAreExact) {
    for (const int colors : {1, 2, 3, 4, 5, 15, 17, 100, 255}) {
        for (const int width : {1, 2, 3, 7, 64, 255, 257, 600}) {
            SCOPED_TRACE(testing::Message() << colors << " colours, " << width << " wide");
            std::vector<CGImage> images;
            for (int i = 0; i < 3; ++i)
                images.push_back(scattered(width, 1 + width % 50, colors, random));
            const auto frames = shown(write(images));
            ASSERT_EQ(frames.size(), images.size());
            for (std::size_t i = 0; i < images.size(); ++i)
                ASSERT_TRUE(frames[i] == images[i].pixels) << i;
        }
    }
}

TEST_F(GifDestinationTests, OnlyChangesAreDrawn) {
    std::vector<CGImage> images(4, scattered(200, 100, 60, random));
    for (std::size_t i = 2; i < 4; ++i) {
        for (const int x : {50, 79})
            images[i].pixels[static_cast<std::size_t>((x == 50 ? 20 : 29) * 200 + x) * 3] ^= 0x80;
    }
    const std::vector<PixelRect> areas{{0, 0, 200, 100}, {0, 0, 1, 1}, {50, 20, 30, 10}, {0, 0, 1, 1}};
    const std::vector<GifFrame> drawn = framesOf(write(images));
    ASSERT_EQ(drawn.size(), areas.size());
    for (std::size_t i = 0; i < areas.size(); ++i) {
        EXPECT_EQ(drawn[i].area, areas[i]);
        EXPECT_EQ(drawn[i].disposal, DISPOSE_DO_NOT);
    }
    const auto frames = shown(file);
    EXPECT_TRUE(frames[1] == images[1].pixels);
    EXPECT_TRUE(frames[3] == images[3].pixels);
}

TEST_F(GifDestinationTests, PicturesOfManyColoursAreClose) {
    CGImage image = plain(320, 240, 0);
    for (int y = 0; y < 240; ++y) {
        for (int x = 0; x < 320; ++x) {
            std::uint8_t* pixel = &image.pixels[static_cast<std::size_t>(y * 320 + x) * 3];
            pixel[0] = static_cast<std::uint8_t>(x * 255 / 320);
            pixel[1] = static_cast<std::uint8_t>(y * 255 / 240);
            pixel[2] = static_cast<std::uint8_t>(128 + random() % 16);
        }
    }
    // A rare colour far from all others must survive.
    std::fill_n(image.pixels.begin(), 60, 0);
    const auto frame = shown(write({image})).at(0);
    double squares = 0;
    for (std::size_t i = 0; i < frame.size(); ++i)
        squares += std::pow(frame[i] - image.pixels[i], 2);
    EXPECT_LT(std::sqrt(squares / static_cast<double>(frame.size())), 8);
    EXPECT_EQ(frame[0] + frame[1] + frame[2], 0);
}

TEST_F(GifDestinationTests, StillPartsDoNotFlicker) {
    std::vector<CGImage> images;
    const CGImage background = scattered(160, 120, 20, random);
    for (int i = 0; i < 8; ++i) {
        CGImage& image = images.emplace_back(background);
        // Random colours above, noise of one step below.
        for (std::size_t at = 0; at < image.pixels.size(); ++at) {
            if (at < image.pixels.size() / 2)
                image.pixels[at] = static_cast<std::uint8_t>(random());
            else if (at % 5 == 0)
                image.pixels[at] = static_cast<std::uint8_t>(image.pixels[at] + random() % 2);
        }
    }
    const auto frames = shown(write(images));
    const auto half = static_cast<std::ptrdiff_t>(frames[0].size() / 2);
    for (const auto& frame : frames)
        EXPECT_TRUE(std::equal(frame.begin() + half, frame.end(), frames[0].begin() + half));
}

TEST_F(GifDestinationTests, OnlyAFinishedFileStays) {
    {
        const auto gif = ImageIO().makeGIFDestination(file);
        gif->addImage(plain(4, 4, 9), CMTime(1, 10));
    }
    EXPECT_THROW(ImageIO().makeGIFDestination(file)->finalize(), PlatformError);
    EXPECT_TRUE(std::filesystem::is_empty(folder.path()));
    std::ofstream(file) << "mine";
    EXPECT_THROW(ImageIO().makeGIFDestination(file), PlatformError);
    EXPECT_EQ(std::filesystem::file_size(file), 4U);
}

}  // namespace
}  // namespace lumicrate::media
