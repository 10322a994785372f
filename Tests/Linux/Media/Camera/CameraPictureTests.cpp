// SPDX-License-Identifier: GPL-3.0-or-later
// Decoding, turning and converting of a camera's frames.
#include "Linux/Media/Camera/CameraConverter.h"
#include "Linux/Media/Camera/CameraDecoder.h"
#include "Tests/Linux/PipeWire/CameraPainter.h"
#include "Tests/Stage/Picture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <cstring>
#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace lumicrate::media {
namespace {

using stage::Rgb;
using testing::ElementsAreArray;

constexpr std::array corners{Rgb{220, 30, 30}, Rgb{30, 180, 40}, Rgb{40, 60, 200}, Rgb{230, 220, 60}};

/// A picture of 96 × 64 pixels whose quarters have colours of `corners`: top left, top right, bottom left,
/// bottom right.
CameraFrame quarters(const std::string& order) {
    CameraFrame frame;
    frame.format = {CameraPixels::bgrx, {96, 64}, 30};
    for (int y = 0; y < 64; ++y) {
        for (int x = 0; x < 96; ++x) {
            const auto quarter = static_cast<std::size_t>(x / 48 + y / 32 * 2);
            const Rgb& color = corners[static_cast<std::size_t>(order[quarter] - 'A')];
            for (const int byte : {color.blue, color.green, color.red, 0})
                frame.bytes.push_back(static_cast<std::uint8_t>(byte));
        }
    }
    frame.planes = {{0, frame.bytes.size(), 96 * 4}};
    frame.bytes.resize(frame.bytes.size() + CameraFrame::padding);
    return frame;
}

/// The names of the colours in the quarters of a picture.
std::string quartersOf(int width, int height, const std::function<Rgb(int x, int y)>& colorAt) {
    std::string names;
    for (const int y : {height / 4, height * 3 / 4}) {
        for (const int x : {width / 4, width * 3 / 4}) {
            char name = '?';
            for (std::size_t i = 0; i < corners.size(); ++i) {
                if (corners[i].distanceTo(colorAt(x, y)) <= 4) name = static_cast<char>('A' + i);
            }
            names += name;
        }
    }
    return names;
}

std::string quartersOf(const RenderedPicture& picture) {
    return quartersOf(picture.width, picture.height, [&](int x, int y) {
        const std::uint8_t* pixel = picture.pixels.get() + static_cast<std::size_t>(y) * picture.bytesPerRow +
                                    4 * static_cast<std::size_t>(x);
        return Rgb{pixel[2], pixel[1], pixel[0]};
    });
}

std::string quartersOf(const CVPixelBuffer& frame) {
    return quartersOf(frame.width, frame.height, [&](int x, int y) {
        const std::uint8_t* chroma = frame.chroma + y / 2 * frame.chromaStride + x / 2 * 2;
        return stage::rgbFromBt709(frame.luma[y * frame.lumaStride + x], chroma[0], chroma[1]);
    });
}

TEST(CameraConverterTests, TurnsAndFlipsAreUndoneAndMoviesMayBeMirrored) {
    struct Case {
        PictureTransform transform;
        const char* sent;  ///< what the transform makes of ABCD
    };
    CameraDecoder decoder;
    CameraConverter converter;
    for (const auto& [transform, sent] :
         {Case{{false, 0}, "ABCD"}, Case{{false, 1}, "BDAC"}, Case{{false, 2}, "DCBA"},
          Case{{false, 3}, "CADB"}, Case{{true, 0}, "BADC"}, Case{{true, 1}, "ACBD"}, Case{{true, 2}, "CDAB"},
          Case{{true, 3}, "DBCA"}}) {
        SCOPED_TRACE(sent);
        CameraFrame frame = quarters(sent);
        frame.transform = transform;
        const bool isTurned = transform.quarterTurns % 2 != 0;
        const PixelSize upright = isTurned ? PixelSize{64, 96} : PixelSize{96, 64};
        EXPECT_EQ(uprightSize(frame), upright);
        const AVFrame* picture = decoder.decode(frame, 0);
        ASSERT_NE(picture, nullptr);
        const RenderedPicture preview = converter.preview(frame, *picture, {48, 48});
        EXPECT_EQ(std::pair(preview.width, preview.height), isTurned ? std::pair(48, 72) : std::pair(72, 48));
        EXPECT_EQ(quartersOf(preview), "ABCD");
        EXPECT_EQ(quartersOf(*converter.pixelBuffer(frame, *picture, false)), "ABCD");
        EXPECT_EQ(quartersOf(*converter.pixelBuffer(frame, *picture, true)), "BADC");
    }
}

TEST(CameraConverterTests, CropsAreAppliedAndInvalidOnesIgnored) {
    CameraDecoder decoder;
    CameraConverter converter;
    struct Case {
        PixelRect crop;
        PixelSize size;
        const char* quarters;
    };
    for (const auto& [crop, size, expected] :
         {Case{{48, 0, 48, 64}, {48, 64}, "BBDD"}, Case{{1, 33, 95, 31}, {94, 30}, "CDCD"},
          Case{{40, 20, 0, 9}, {96, 64}, "ABCD"}, Case{{-100, -100, 50, 50}, {96, 64}, "ABCD"},
          Case{{2'000'000'000, 0, 65'536, 65'536}, {96, 64}, "ABCD"},
          Case{{-10, -10, 65'536, 65'536}, {96, 64}, "ABCD"}}) {
        CameraFrame frame = quarters("ABCD");
        frame.crop = crop;
        EXPECT_EQ(uprightSize(frame), size);
        const AVFrame* picture = decoder.decode(frame, 0);
        EXPECT_EQ(quartersOf(converter.preview(frame, *picture, {20, 20})), expected);
        EXPECT_EQ(quartersOf(*converter.pixelBuffer(frame, *picture, false)), expected);
    }
}

/// A virtual camera's picture.
CameraFrame painted(const std::string& name, CameraPixels pixels, int width, int height) {
    const stage::VirtualCamera::Format format{name, width, height, 30};
    stage::CameraPainter painter(format, {});
    const auto bytes = painter.paint(7);
    CameraFrame frame;
    frame.format = {pixels, {width, height}, 30};
    frame.bytes.assign(bytes.begin(), bytes.end());
    frame.planes = {{0, frame.bytes.size(), stage::CameraPainter::strideOf(format)}};
    frame.bytes.resize(frame.bytes.size() + CameraFrame::padding);
    return frame;
}

TEST(CameraDecoderTests, FramesThatDoNotFitTheirFormatAreRejected) {
    struct Case {
        const char* what;
        std::function<void(CameraFrame&)> damage;
        bool isGoodRaw;
        bool isGoodJpeg;
    };
    const std::vector<Case> cases{
        {"nothing", [](CameraFrame&) {}, true, true},
        {"a byte less", [](CameraFrame& frame) { --frame.planes[0].size; }, false, true},
        {"half of it", [](CameraFrame& frame) { frame.planes[0].size /= 2; }, false, false},
        {"no bytes", [](CameraFrame& frame) { frame.planes[0].size = 0; }, false, false},
        {"no planes", [](CameraFrame& frame) { frame.planes.clear(); }, false, false},
        {"another size",
         [](CameraFrame& frame) {
             frame.format.size = {400, 300};
         },
         false, false},
        {"no size",
         [](CameraFrame& frame) {
             frame.format.size = {0, 0};
         },
         false, false},
        {"an unknown stride", [](CameraFrame& frame) { frame.planes[0].stride = 0; }, true, true},
        {"a short stride", [](CameraFrame& frame) { frame.planes[0].stride = 200; }, false, true},
        {"a negative stride", [](CameraFrame& frame) { frame.planes[0].stride *= -1; }, false, true},
        {"a huge stride", [](CameraFrame& frame) { frame.planes[0].stride = 1 << 30; }, false, true},
    };
    CameraDecoder decoder;
    for (const auto& [name, pixels] : {std::pair("NV12", CameraPixels::nv12),
                                       {"I420", CameraPixels::i420},
                                       {"I420", CameraPixels::yv12},
                                       {"BGRx", CameraPixels::bgrx},
                                       {"YUY2", CameraPixels::yuy2},
                                       {"MJPG", CameraPixels::mjpg}}) {
        const CameraFrame good = painted(name, pixels, 320, 240);
        for (const Case& each : cases) {
            CameraFrame frame = good;
            each.damage(frame);
            const bool isGood = pixels == CameraPixels::mjpg ? each.isGoodJpeg : each.isGoodRaw;
            EXPECT_EQ(decoder.decode(frame, 0) != nullptr, isGood) << name << " with " << each.what;
            EXPECT_NE(decoder.decode(good, 0), nullptr) << "after " << each.what;
        }
    }
}

TEST(CameraDecoderTests, PlanesMayHaveBlocksAndStridesOfTheirOwn) {
    const CameraFrame good = painted("NV12", CameraPixels::nv12, 320, 240);
    CameraFrame frame;
    frame.format = good.format;
    frame.planes = {{100, 400 * 240, 400}, {100 + 400 * 240, 500 * 120, 500}};
    frame.bytes.resize(100 + 400 * 240 + 500 * 120 + CameraFrame::padding);
    for (std::size_t y = 0; y < 360; ++y) {
        const std::size_t row = y < 240 ? 100 + 400 * y : 100 + 400 * 240 + 500 * (y - 240);
        std::memcpy(&frame.bytes[row], &good.bytes[320 * y], 320);
    }
    CameraDecoder decoder;
    CameraConverter converter;
    const auto bytesOf = [&](const CameraFrame& each) {
        const auto buffer = converter.pixelBuffer(each, *decoder.decode(each, 0), false);
        return std::vector(buffer->chroma, buffer->chroma + 120 * buffer->chromaStride);
    };
    EXPECT_THAT(bytesOf(frame), ElementsAreArray(bytesOf(good)));
}

TEST(CameraDecoderTests, SmallPreviewsAreDecodedAtAReducedSize) {
    const CameraFrame frame = painted("MJPG", CameraPixels::mjpg, 1280, 720);
    struct Case {
        PixelSize cover;
        int reduction;
        int width;
    };
    CameraDecoder decoder;
    for (const auto& [cover, reduction, width] :
         {Case{{700, 20}, 0, 1280}, Case{{400, 200}, 0, 1280}, Case{{320, 180}, 2, 320},
          Case{{160, 90}, 3, 160}, Case{{20, 20}, 3, 160}, Case{{20, 100}, 2, 320}}) {
        EXPECT_EQ(reductionFor(frame, cover), reduction);
        const AVFrame* picture = decoder.decode(frame, reductionFor(frame, cover));
        ASSERT_NE(picture, nullptr);
        EXPECT_EQ(picture->width, width);
    }
}

}  // namespace
}  // namespace lumicrate::media
