// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Media/Images/ImageIO.h"
#include "Linux/Media/Images/PictureRenderer.h"
#include "Support/Error.h"
#include "Tests/Linux/TemporaryFolder.h"
#include "Tests/Stage/ChildProcess.h"
#include "Tests/Stage/Picture.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <fstream>
#include <iterator>
#include <optional>

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
    std::ifstream stream(straight, std::ios::binary);
    std::string bytes(std::istreambuf_iterator<char>(stream), {});
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
        const auto turned = folder / (each.corners + ".mp4");
        std::ofstream(turned, std::ios::binary) << bytes;
        const auto generator = open(turned);
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
        std::string filters = quarters;
        filters += ",format=gbrp,scale=out_color_matrix=" + each.matrix + ":out_range=" + each.range +
                   ",format=yuv420p";
        const auto generator = open(make(each.tag + each.range + ".mp4", filters,
                                         {"-colorspace", each.tag, "-color_range", each.range}));
        const CGImage* image = generator->image(CMTime::zero(), noTolerance);
        EXPECT_LE(pixel(*image, 0.25, 0.25).distanceTo({255, 0, 0}), 4);
        EXPECT_LE(pixel(*image, 0.75, 0.25).distanceTo({0, 255, 0}), 4);
        EXPECT_LE(pixel(*image, 0.25, 0.75).distanceTo({0, 0, 255}), 4);
        EXPECT_LE(pixel(*image, 0.75, 0.75).distanceTo({255, 255, 255}), 4);
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
    const auto cutOff = make("good.mp4", "testsrc2=s=320x240:r=10:d=4", {"-movflags", "+faststart"});
    std::filesystem::resize_file(cutOff, std::filesystem::file_size(cutOff) / 2);
    const auto readAll = [&] {
        const auto generator = open(cutOff);
        for (int i = 0; i < 40; ++i)
            generator->image({i, 10}, noTolerance);
    };
    EXPECT_THROW(readAll(), PlatformError);
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

}  // namespace
}  // namespace lumicrate::media
