// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Media/Images/ImageIO.h"
#include "Linux/Media/Images/PictureRenderer.h"
#include "Support/Error.h"
#include "Tests/Linux/TemporaryFolder.h"
#include "Tests/Stage/ChildProcess.h"
#include "Tests/Stage/MovieProbe.h"

#include <gif_lib.h>
#include <gmock/gmock.h>

#include <array>
#include <cmath>
#include <random>

namespace lumicrate::media {
namespace {

using stage::Rgb;
using Words = std::vector<std::string>;

constexpr CMTime noTolerance = CMTime::zero();

Rgb pixel(const CGImage& image, double x, double y) {
    const auto column = static_cast<std::size_t>(x * image.width);
    const auto row = static_cast<std::size_t>(y * image.height);
    const std::uint8_t* at = &image.pixels[(row * static_cast<std::size_t>(image.width) + column) * 3];
    return {at[0], at[1], at[2]};
}

class ImageGeneratorTests : public testing::Test {
 protected:
    /// 64 by 64 pixels, 30 pictures a second, each brighter than the last.
    static constexpr const char* counting = "color=s=64x64:r=30:d=1,geq=lum='16+7*N':cb=128:cr=128";
    /// Red and green above blue and white.
    static constexpr const char* quarters =
        "color=red:s=64x64:r=10:d=0.3[a];color=0x00ff00:s=64x64[b];color=blue:s=64x64[c];color=white:s=64x64["
        "d];"
        "[a][b]hstack=shortest=1[e];[c][d]hstack[f];[e][f]vstack=shortest=1";

    std::filesystem::path make(const std::string& name, const std::string& content,
                               const Words& more = {}) const {
        Words command{"ffmpeg", "-v", "error", "-nostdin", "-f", "lavfi", "-i", content};
        command.insert(command.end(), {"-c:v", "libx264", "-qp", "6", "-pix_fmt", "yuv420p"});
        command.insert(command.end(), more.begin(), more.end());
        command.push_back(folder / name);
        stage::runProgram(command, {}, 60);
        return folder / name;
    }
    std::unique_ptr<AVAssetImageGenerator> open(const std::filesystem::path& movie,
                                                Size maximum = {640, 2560}) const {
        return ImageIO().makeImageGenerator(movie, maximum);
    }
    /// The number of a picture of `counting`.
    static std::optional<int> number(const CGImage* image) {
        if (image == nullptr) return std::nullopt;
        return static_cast<int>(std::lround(pixel(*image, 0.5, 0.5).green * 219.0 / 255 / 7));
    }

    test::TemporaryFolder folder;
};

TEST_F(ImageGeneratorTests, ReturnsThePictureShownAtATime) {
    const Words bFrames{"-bf", "3", "-g", "300", "-x264-params", "b-adapt=0"};
    const auto whole = make("whole.mp4", counting, bFrames);
    const auto cut = folder / "cut.mp4";
    stage::runProgram({"ffmpeg", "-v", "error", "-ss", "0.5", "-i", whole, "-c", "copy", cut}, {}, 60);
    for (const auto& [movie, first] : {std::pair{whole, 0}, {cut, 15}}) {
        SCOPED_TRACE(movie);
        const auto generator = open(movie);
        for (int frame = 0; first + frame * 30 / 12 < 30; ++frame)
            EXPECT_EQ(number(generator->image({frame * 50, 600}, noTolerance)), first + frame * 30 / 12);
        const int length = 30 - first;
        EXPECT_EQ(number(generator->image({length * 20 - 1, 600}, noTolerance)), 29);
        EXPECT_EQ(generator->image({length * 20 + 1, 600}, noTolerance), nullptr);
    }
}

TEST_F(ImageGeneratorTests, APictureIsShownUntilTheNext) {
    const auto movie = make("still.mp4", std::string(counting) + ",select='lt(n,3)+eq(n,20)+eq(n,29)'",
                            {"-fps_mode", "vfr"});
    const auto generator = open(movie);
    for (const auto& [tick, shown] :
         {std::pair{0, 0}, {39, 1}, {40, 2}, {399, 2}, {400, 20}, {579, 20}, {580, 29}})
        EXPECT_EQ(number(generator->image({tick, 600}, CMTime(1, 50))), shown) << tick;
}

TEST_F(ImageGeneratorTests, ToleratesALateFirstPicture) {
    const auto generator = open(make("late.mp4", counting, {"-output_ts_offset", "0.25"}));
    EXPECT_EQ(generator->image({0, 600}, CMTime(50, 600)), nullptr);
    EXPECT_EQ(number(generator->image({100, 600}, CMTime(50, 600))), 0);
    EXPECT_EQ(number(generator->image({170, 600}, noTolerance)), 1);
}

TEST_F(ImageGeneratorTests, PicturesAreUpright) {
    const auto straight = make("straight.mp4", quarters);
    std::string bytes = test::readText(straight);
    const std::size_t matrixAt = bytes.find("tkhd") + 44;
    const struct {
        std::array<int, 4> matrix;  // a, b, c, d
        std::string corners;        // top left, top right, bottom left, bottom right
    } cases[] = {{{1, 0, 0, 1}, "rgbw"},  {{0, 1, -1, 0}, "brwg"}, {{-1, 0, 0, -1}, "wbgr"},
                 {{0, -1, 1, 0}, "gwrb"}, {{-1, 0, 0, 1}, "grwb"}, {{1, 0, 0, -1}, "bwrg"},
                 {{0, 1, 1, 0}, "rbgw"},  {{0, -1, -1, 0}, "wgbr"}};
    for (const auto& each : cases) {
        SCOPED_TRACE(each.corners);
        for (std::size_t i = 0; i < 4; ++i) {
            // 16.16 numbers, in the first two columns of two rows of three.
            const int number = each.matrix[i];
            const char high = number < 0 ? '\xff' : '\0';
            bytes.replace(matrixAt + (i / 2 * 3 + i % 2) * 4, 4,
                          std::string{high, static_cast<char>(number), '\0', '\0'});
        }
        const auto generator = open(test::writeText(folder / (each.corners + ".mp4"), bytes));
        const CGImage* image = generator->image(CMTime::zero(), noTolerance);
        ASSERT_NE(image, nullptr);
        std::string corners;
        for (const auto& [x, y] : {std::pair{0.25, 0.25}, {0.75, 0.25}, {0.25, 0.75}, {0.75, 0.75}}) {
            const Rgb color = pixel(*image, x, y);
            corners += color.red > 128 ? (color.green > 128 ? 'w' : 'r') : color.green > 128 ? 'g' : 'b';
        }
        EXPECT_EQ(corners, each.corners);
    }
}

TEST_F(ImageGeneratorTests, ColoursFollowTheMatrixOfTheMovie) {
    const struct {
        std::string matrix, tag, range;
    } cases[] = {{"bt709", "bt709", "tv"},
                 {"bt601", "smpte170m", "tv"},
                 {"bt709", "bt709", "pc"},
                 {"bt2020", "bt2020nc", "tv"}};
    for (const auto& each : cases) {
        SCOPED_TRACE(each.tag + " " + each.range);
        const std::string filters = quarters + (",format=gbrp,scale=out_color_matrix=" + each.matrix) +
                                    ":out_range=" + each.range + ",format=yuv420p";
        const auto generator = open(make(each.tag + each.range + ".mp4", filters,
                                         {"-colorspace", each.tag, "-color_range", each.range}));
        const CGImage* image = generator->image(CMTime::zero(), noTolerance);
        const Rgb corners[] = {{255, 0, 0}, {0, 255, 0}, {0, 0, 255}, {255, 255, 255}};
        for (int i = 0; i < 4; ++i)
            EXPECT_LE(pixel(*image, i % 2 == 0 ? 0.25 : 0.75, i < 2 ? 0.25 : 0.75).distanceTo(corners[i]), 4);
    }
}

TEST_F(ImageGeneratorTests, ShrinkingAveragesPixels) {
    const auto movie =
        make("board.mp4", "color=s=256x256:r=10:d=0.2,geq=lum='16+219*mod(X+Y,2)':cb=128:cr=128");
    const auto generator = open(movie, {64, 256});
    const CGImage* image = generator->image(CMTime::zero(), noTolerance);
    ASSERT_EQ(image->width, 64);
    for (const std::uint8_t value : image->pixels)
        ASSERT_NEAR(value, 127, 10);
}

TEST_F(ImageGeneratorTests, PixelsAreSquare) {
    const auto generator = open(make("wide.mp4", std::string(counting) + ",setsar=2/1"));
    const CGImage* image = generator->image(CMTime::zero(), noTolerance);
    EXPECT_EQ(image->width, 128);
    EXPECT_EQ(image->height, 64);
}

TEST_F(ImageGeneratorTests, BadMoviesAreRefused) {
    const auto sound = folder / "sound.m4a";
    stage::runProgram({"ffmpeg", "-v", "error", "-f", "lavfi", "-i", "sine=d=1", sound});
    EXPECT_THROW(open(sound), PlatformError);
    EXPECT_THROW(open(folder / "none.mp4"), PlatformError);
}

TEST_F(ImageGeneratorTests, DamagedTimesHaveNoPicture) {
    const auto movie = make("movie.mp4", "testsrc2=s=320x240:r=10:d=4",
                            {"-movflags", "+faststart", "-g", "10", "-bf", "0", "-tune", "zerolatency"});
    const std::string whole = test::readText(movie);
    const auto second = [&](int part) { return whole.size() * static_cast<std::size_t>(part) / 4; };
    std::string damaged = whole;
    std::fill(damaged.begin() + static_cast<std::ptrdiff_t>(second(1) + 2000),
              damaged.begin() + static_cast<std::ptrdiff_t>(second(2)), '\xff');
    const std::tuple<std::string, CMTime, CMTime> cases[] = {{whole.substr(0, second(2)), {9, 10}, {3, 1}},
                                                             {damaged, {7, 2}, {18, 10}}};
    for (const auto& [bytes, readable, unreadable] : cases) {
        const auto open = [&, file = test::writeText(folder / "damaged.mp4", bytes)] {
            return ImageIO().makeImageGenerator(file, {640, 2560});
        };
        EXPECT_TRUE(open()->image(CMTime::zero(), noTolerance));
        EXPECT_TRUE(open()->image(readable, noTolerance));
        EXPECT_FALSE(open()->image(unreadable, noTolerance));
    }
}

TEST(PictureShapeTests, PicturesFitAndAreNotEnlarged) {
    const Orientation turned{true, false, false};
    const struct {
        PixelSize coded;
        double aspect;
        Orientation orientation;
        Size maximum;
        PixelSize shown;
    } cases[] = {
        {{1920, 1080}, 1, {}, {640, 2560}, {640, 360}},
        {{100, 80}, 1, {}, {640, 2560}, {100, 80}},
        {{1080, 1920}, 1, {}, {480, 1920}, {480, 853}},
        {{1920, 1080}, 1, turned, {480, 1920}, {480, 853}},
        {{100, 4000}, 1, {}, {480, 1920}, {48, 1920}},
        {{5000, 1}, 1, {}, {640, 2560}, {640, 1}},
        {{720, 576}, 64 / 45.0, {}, {640, 2560}, {640, 360}},
        {{64, 64}, 2, turned, {640, 2560}, {64, 128}},
    };
    for (const auto& each : cases)
        EXPECT_EQ(shownSize(each.coded, each.aspect, each.orientation, each.maximum), each.shown)
            << each.coded.width;
}

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
        const auto gif = ImageIO().makeAnimation(file, {});
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
        for (const std::size_t pixel : {20U * 200 + 50, 29U * 200 + 79})
            images[i].pixels[pixel * 3] ^= 0x80;
    }
    std::vector<PixelRect> areas;
    for (const GifFrame& frame : framesOf(write(images))) {
        areas.push_back(frame.area);
        EXPECT_EQ(frame.disposal, DISPOSE_DO_NOT);
    }
    EXPECT_THAT(areas, testing::ElementsAre(PixelRect{0, 0, 200, 100}, PixelRect{0, 0, 1, 1},
                                            PixelRect{50, 20, 30, 10}, PixelRect{0, 0, 1, 1}));
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
        const auto gif = ImageIO().makeAnimation(file, {});
        gif->addImage(plain(4, 4, 9), CMTime(1, 10));
    }
    EXPECT_THROW(ImageIO().makeAnimation(file, {})->finalize(), PlatformError);
    EXPECT_TRUE(std::filesystem::is_empty(folder.path()));
    test::writeText(file, "mine");
    EXPECT_THROW(ImageIO().makeAnimation(file, {}), PlatformError);
    EXPECT_EQ(test::readText(file), "mine");
}

TEST_F(GifDestinationTests, LowerQualityIsSmallerAndSizeIsKnownBefore) {
    std::vector<CGImage> images;
    for (int i = 0; i < 6; ++i)
        images.push_back(scattered(120, 90, 250, random));
    for (const auto format : {AnimationEncoding::Format::gif, AnimationEncoding::Format::webp}) {
        std::uint64_t larger = ~std::uint64_t{0};
        for (const double quality : {1.0, 0.5, 0.0}) {
            std::filesystem::remove(file);
            const auto animation = ImageIO().makeAnimation(file, {format, quality});
            for (const CGImage& image : images)
                animation->addImage(image, CMTime(1, 10));
            const std::uint64_t expected = animation->size();
            animation->finalize();
            EXPECT_EQ(std::filesystem::file_size(file), expected);
            EXPECT_LT(expected, larger) << quality;
            larger = expected;
        }
    }
}

struct WebPFrame {
    PixelRect area;
    int milliseconds = 0;
    std::string picture;  // its chunks
};

std::uint32_t littleEndian(std::string_view bytes) {
    std::uint32_t number = 0;
    for (std::size_t i = bytes.size(); i > 0; --i)
        number = number << 8 | static_cast<std::uint8_t>(bytes[i - 1]);
    return number;
}

/// The frames of an animated WebP file. Every size in the container must be right.
std::vector<WebPFrame> webPFrames(const std::string& file) {
    const std::string_view bytes = file;
    EXPECT_EQ(bytes.substr(0, 4), "RIFF");
    EXPECT_EQ(littleEndian(bytes.substr(4, 4)) + 8, bytes.size());
    EXPECT_EQ(bytes.substr(8, 8), "WEBPVP8X");
    std::vector<WebPFrame> frames;
    for (std::size_t at = 12; at < bytes.size();) {
        const std::uint32_t size = littleEndian(bytes.substr(at + 4, 4));
        const std::string_view content = bytes.substr(at + 8, size);
        if (bytes.substr(at, 4) == "ANIM") {
            EXPECT_EQ(littleEndian(content.substr(4, 2)), 0U) << "repeats forever";
        }
        const auto number = [&](std::size_t i) {
            return static_cast<int>(littleEndian(content.substr(i, 3)));
        };
        if (bytes.substr(at, 4) == "ANMF")
            frames.push_back({{2 * number(0), 2 * number(3), number(6) + 1, number(9) + 1},
                              number(12),
                              std::string(content.substr(16))});
        at += 8 + size;
    }
    return frames;
}

TEST_F(GifDestinationTests, WebPDrawsOnlyWhatChanges) {
    std::vector<CGImage> images(5, plain(100, 70, 60));
    for (std::size_t i = 2; i < 5; ++i)
        for (const std::size_t y : {20U, 40U})
            for (std::size_t x = 20; x < 30; ++x)
                std::fill_n(&images[i].pixels[(y * 100 + x) * 3], 3, 220);
    for (std::uint8_t& value : images[4].pixels)
        value = static_cast<std::uint8_t>(value + 1);  // invisible
    const auto animation = ImageIO().makeAnimation(file, {AnimationEncoding::Format::webp, 1});
    for (const CGImage& image : images)
        animation->addImage(image, CMTime(1, 12));
    animation->finalize();
    const auto frames = webPFrames(test::readText(file));
    ASSERT_EQ(frames.size(), 2U);
    EXPECT_EQ(frames[0].area, (PixelRect{0, 0, 100, 70}));
    EXPECT_EQ(frames[1].area, (PixelRect{16, 16, 16, 32}));
    EXPECT_EQ(frames[0].milliseconds, 167);
    EXPECT_EQ(frames[0].milliseconds + frames[1].milliseconds, 417);
    for (const WebPFrame& frame : frames) {
        const bool hasAlpha = frame.picture.starts_with("ALPH");
        EXPECT_EQ(hasAlpha, false) << "all of its blocks have changed";
        const auto size = static_cast<std::uint32_t>(frame.picture.size() + 4);
        std::string still = "RIFF....WEBP" + frame.picture;
        for (std::size_t i = 0; i < 4; ++i)
            still[4 + i] = static_cast<char>(size >> (8 * i) & 0xFF);
        const auto shown = stage::MovieProbe(test::writeText(folder / "still.webp", still)).lastPicture();
        for (int y = 0; y < frame.area.height; ++y) {
            for (int x = 0; x < frame.area.width; ++x) {
                const std::size_t at =
                    static_cast<std::size_t>((frame.area.y + y) * 100 + frame.area.x + x) * 3;
                const int gray = images[&frame == &frames[0] ? 0 : 2].pixels[at];
                EXPECT_NEAR(shown->luma().at(x, y), 16 + gray * 219 / 255, 12) << x << " " << y;
            }
        }
    }
}

}  // namespace
}  // namespace lumicrate::media
