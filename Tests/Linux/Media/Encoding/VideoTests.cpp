// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Media/Encoding/DecoderConfiguration.h"
#include "Linux/Media/Encoding/HevcEncoder.h"
#include "Linux/Media/Encoding/VideoTrack.h"
#include "Linux/Media/MovieFile/MovieFile.h"
#include "Support/Error.h"
#include "Tests/Linux/Media/MovieMaker.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <random>

namespace lumicrate::media {
namespace {

using namespace test;
using stage::MovieProbe;

constexpr double tick = 1.0 / 90000;

CMTime at(std::int64_t milliseconds) {
    return start + CMTime(milliseconds, 1000);
}

/// Runs once for each codec.
class VideoTests : public testing::TestWithParam<AVVideoCodecType> {
 protected:
    static AVVideoOutputSettings settings(int width, int height, int bitRate = 8'000'000) {
        return videoSettings(width, height, bitRate, 30, GetParam());
    }
};

INSTANTIATE_TEST_SUITE_P(Codecs, VideoTests, testing::Values(AVVideoCodecType::h264, AVVideoCodecType::hevc),
                         [](const testing::TestParamInfo<AVVideoCodecType>& codec) {
                             return codec.param == AVVideoCodecType::h264 ? "H264" : "HEVC";
                         });

std::shared_ptr<TestPicture> printed(int width, int height, unsigned seed) {
    auto picture = std::make_shared<TestPicture>(width, height);
    picture->print({0, 0, width, height}, seed);
    return picture;
}

/// The number of blocks that differ from the source.
int wrongBlocks(const CVPixelBuffer& source, const stage::Picture& decoded) {
    int wrong = 0;
    for (int y = 0; y + 16 <= source.height; y += 16) {
        for (int x = 0; x + 16 <= source.width; x += 16)
            wrong += psnr(source, decoded, {x, y, 16, 16}) < 28 ? 1 : 0;
    }
    return wrong;
}

TEST_P(VideoTests, ASinglePictureMakesAMovieWithTheRightProperties) {
    for (const auto type : {AVFileType::mpeg4, AVFileType::quickTimeMovie}) {
        MovieMaker maker({settings(640, 360)}, type);
        const auto picture = printed(640, 360, 1);
        CMSampleBuffer sample = frame(at(0), picture);
        sample.timing.duration = CMTime(1, 4);
        maker.append(0, sample);
        MovieProbe probe = maker.finished();
        const stage::Track& track = probe.videoTrack();
        const bool hevc = GetParam() == AVVideoCodecType::hevc;
        EXPECT_EQ(track.codec, hevc ? "hevc" : "h264");
        EXPECT_EQ(track.codecTag, hevc ? "hvc1" : "avc1");
        EXPECT_EQ(track.profile, hevc ? "Main" : "High");
        EXPECT_EQ(track.pixelFormat, "yuv420p");
        EXPECT_EQ(track.colorPrimaries, "bt709");
        EXPECT_EQ(track.colorTransfer, "bt709");
        EXPECT_EQ(track.colorMatrix, "bt709");
        EXPECT_EQ(track.colorRange, "tv");
        EXPECT_EQ(track.handler, "Video");
        EXPECT_TRUE(probe.tag("creation_time"));
        EXPECT_EQ(probe.pictureTimes(), std::vector{0.0});
        EXPECT_NEAR(track.duration, 0.25, 0.001);
        EXPECT_EQ(wrongBlocks(*picture, *probe.lastPicture()), 0);
    }
}

TEST_P(VideoTests, TimesAreExactFromTheSessionOn) {
    std::mt19937 random(11);
    MovieMaker maker({settings(128, 96)});
    auto picture = printed(128, 96, 1);
    std::vector<double> wanted;
    for (const int beforeSession : {-100, -1})
        maker.append(0, frame(at(beforeSession), picture));
    CMTime time = start + CMTime(30, 1000);
    for (std::uint64_t i = 0; i < 120; ++i) {
        maker.append(0, frame(time, picture, frameInfo(i, {})));
        wanted.push_back((time - start).seconds());
        const std::int64_t gap = i == 40   ? 20'000'000'000
                                 : i == 80 ? 1'000'003
                                           : 16'000'000 + random() % 900'000'000;
        time = time + CMTime(gap, 1'000'000'000);
    }
    MovieProbe probe = maker.finished();
    const std::vector<double> times = probe.pictureTimes();
    ASSERT_EQ(times.size(), wanted.size());
    for (std::size_t i = 0; i < times.size(); ++i)
        EXPECT_NEAR(times[i], wanted[i], tick) << i;
    EXPECT_NEAR(probe.videoTrack().duration, wanted.back() - wanted.front() + 0.001, 0.0005);

    // No picture is further than two seconds from the key picture that seeking to it starts at.
    double key = 0;
    for (const stage::Packet& packet : probe.packets(probe.videoTrack().index)) {
        if (packet.isKey) key = packet.pts;
        EXPECT_LT(packet.pts - key, 2.0);
    }
}

TEST_P(VideoTests, RepeatsAreSmallWithRareKeyPictures) {
    AVVideoOutputSettings often = settings(640, 368);
    often.compression.maxStillKeyFrameInterval = 50;
    const std::pair<AVVideoOutputSettings, std::vector<double>> cases[] = {
        {settings(640, 368), {0, 60, 120, 130.5}}, {often, {0, 50, 100, 130.5}}};
    const auto still = printed(640, 368, 1);
    const auto changed = printed(640, 368, 2);
    for (const auto& [video, expected] : cases) {
        MovieMaker maker({video});
        for (int second = 0; second <= 130; ++second)
            maker.append(0, frame(at(second * 1000), still, frameInfo(7, {{0, 0, 640, 368}})));
        maker.append(0, frame(at(130'500), changed, frameInfo(8, {{0, 0, 640, 368}})));
        MovieProbe probe = maker.finished();
        std::vector<double> keys;
        for (const stage::Packet& packet : probe.packets(0)) {
            if (packet.isKey) keys.push_back(packet.pts);
            EXPECT_TRUE(packet.isKey || packet.size < 200) << packet.pts;
        }
        EXPECT_EQ(keys, expected);
        for (const double time : {1.0, 59.0, 119.0, 130.0})
            EXPECT_EQ(wrongBlocks(*still, *probe.pictureAt(time)), 0) << time;
        EXPECT_EQ(wrongBlocks(*changed, *probe.lastPicture()), 0);
    }
}

/// Whether pictures are lost, and whether the sequence numbers show it.
enum class Gaps { none, shown, hidden };

/// Wrong blocks over a movie of random changes.
int wrongBlocksOfRandomChanges(const AVVideoOutputSettings& settings, Gaps gaps, unsigned seed) {
    std::mt19937 random(seed);
    const auto below = [&random](int limit) {
        return static_cast<int>(random() % static_cast<unsigned>(limit));
    };
    MovieMaker maker({settings});
    auto picture = printed(settings.width, settings.height, seed);
    std::vector<std::shared_ptr<TestPicture>> shown;
    std::uint64_t sequence = 0;
    for (int i = 0; i < 90; ++i) {
        auto next = std::make_shared<TestPicture>(*picture);
        std::vector<PixelRect> dirty;
        for (int count = below(4); count > 0; --count) {
            const PixelRect rect{below(settings.width - 8), below(settings.height - 8), 2 + below(60),
                                 2 + below(40)};
            next->print(rect, static_cast<unsigned>(random()));
            dirty.push_back(rect);
        }
        picture = next;
        const bool lost = gaps != Gaps::none && below(4) == 0;
        if (!lost || gaps == Gaps::shown) ++sequence;
        if (lost) continue;
        maker.append(0, frame(at(33 * i), picture, frameInfo(sequence, dirty)));
        shown.push_back(picture);
    }
    int wrong = 0;
    std::size_t index = 0;
    maker.finished().visitPictures([&](const stage::Picture& decoded) {
        wrong += wrongBlocks(*shown.at(index++), decoded);
        return true;
    });
    EXPECT_EQ(index, shown.size());
    return wrong;
}

TEST_P(VideoTests, HintsNeverLeaveOutdatedBlocks) {
    for (unsigned seed = 1; seed <= 4; ++seed) {
        EXPECT_EQ(wrongBlocksOfRandomChanges(settings(336, 208), Gaps::none, seed), 0) << seed;
        EXPECT_EQ(wrongBlocksOfRandomChanges(settings(336, 208), Gaps::shown, seed), 0) << seed;
    }
}

TEST_P(VideoTests, AWrongHintIsVisible) {
    // Small changes in a large picture: HEVC uses hints in no others.
    EXPECT_GT(wrongBlocksOfRandomChanges(settings(1104, 624), Gaps::hidden, 1), 0);
}

TEST_P(VideoTests, AStillPictureIsCrispAndTakesHardlyAnyBytes) {
    // At the lowest quality: 0.06 bits a pixel.
    MovieMaker maker({settings(640, 480, 640 * 480 * 30 * 6 / 100)});
    const auto picture = printed(640, 480, 1);
    for (std::uint64_t i = 0; i < 30; ++i)
        maker.append(0, frame(at(33 * static_cast<int>(i)), picture, frameInfo(i, {})));
    // The same sequence number means the same picture.
    maker.append(0, frame(at(1500), picture, frameInfo(29, {{0, 0, 640, 480}})));
    MovieProbe probe = maker.finished();
    const auto packets = probe.packets(probe.videoTrack().index);
    ASSERT_EQ(packets.size(), 31U);
    for (std::size_t i = 1; i < packets.size(); ++i)
        EXPECT_LT(packets[i].size, 200) << i;
    EXPECT_GT(psnr(*picture, *probe.lastPicture()), 38);
}

TEST_P(VideoTests, ColorsAreAccurateAtTheHighestRate) {
    const std::vector<std::array<int, 3>> patches{{63, 102, 240},  {173, 42, 26},  {32, 240, 118},
                                                  {235, 128, 128}, {16, 128, 128}, {126, 128, 128},
                                                  {219, 16, 138},  {78, 214, 230}, {188, 154, 16}};
    auto picture = std::make_shared<TestPicture>(48 * 9, 96);
    int left = 0;
    for (const auto& [y, cb, cr] : patches) {
        picture->fill({left, 0, 48, 96}, y, cb, cr);
        left += 48;
    }
    MovieMaker maker({settings(picture->width, 96, static_cast<int>(0.24 * picture->width * 96 * 30))});
    maker.append(0, frame(at(0), picture));
    MovieProbe probe = maker.finished();
    const auto decoded = probe.lastPicture();
    for (int x = 4; x < left; x += x % 48 == 44 ? 8 : 20) {
        const auto& [y, cb, cr] = patches.at(static_cast<std::size_t>(x / 48));
        EXPECT_LE(decoded->rgbAt(x, 50).distanceTo(stage::rgbFromBt709(y, cb, cr)), 3) << x;
    }
}

TEST_P(VideoTests, PicturesArePaddedToWhatTheCodecHas) {
    for (const auto& [width, height] : std::vector<std::pair<int, int>>{
             {333, 217}, {33, 47}, {64, 35}, {31, 32}, {16, 16}, {17, 16}, {3, 2}, {24, 9}, {1663, 1080}}) {
        SCOPED_TRACE(testing::Message() << width << " × " << height);
        const int smallest = GetParam() == AVVideoCodecType::hevc ? HevcEncoder::minSide : 2;
        if (smallest > 2 && width > 1000) continue;
        const auto picture = printed(width, height, 9);
        MovieMaker maker({settings(width, height)});
        maker.append(0, frame(at(0), picture));
        MovieProbe probe = maker.finished();
        EXPECT_EQ(probe.videoTrack().width, std::max((width + 1) / 2 * 2, smallest));
        EXPECT_EQ(probe.videoTrack().height, std::max((height + 1) / 2 * 2, smallest));
        const auto decoded = probe.lastPicture();
        EXPECT_GT(psnr(*picture, *decoded), 35);
        // The last column and row are repeated.
        const stage::Plane& luma = decoded->luma();
        for (int y = 0; y < height && width % 2 == 1; ++y)
            EXPECT_NEAR(luma.at(width, y), picture->luma[y * picture->lumaStride + width - 1], 40);
        for (int x = 0; x < width && height % 2 == 1; ++x)
            EXPECT_NEAR(luma.at(x, height), picture->luma[(height - 1) * picture->lumaStride + x], 40);
    }
}

TEST_P(VideoTests, TheCeilingHoldsForNoise) {
    constexpr int bitRate = 260'000;
    MovieMaker maker({settings(320, 192, bitRate)});
    for (int i = 0; i < 240; ++i) {
        auto picture = std::make_shared<TestPicture>(320, 192);
        picture->noise({0, 0, 320, 192}, static_cast<unsigned>(i));
        maker.append(0, frame(at(i * 1000 / 30), picture));
    }
    MovieProbe probe = maker.finished();
    double bits = 0;
    for (const stage::Packet& packet : probe.packets(probe.videoTrack().index))
        bits += packet.size * 8.0;
    // A full bucket at first, and then the rate.
    EXPECT_LT(bits, bitRate * (8 + 2.4));
    EXPECT_GT(bits, bitRate * 6.0);
}

/// A smooth picture moved by this many pixels, possibly a fraction.
std::shared_ptr<TestPicture> waves(int width, int height, double moved) {
    auto picture = std::make_shared<TestPicture>(width, height);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const double place = x - moved;
            const double luma =
                126 + 50 * std::sin(place / 3.1 + y / 9.0) + 50 * std::sin(y / 2.3 - place / 7.0);
            picture->fill({x, y, 1, 1}, static_cast<int>(std::lround(luma)), 128, 128);
        }
    }
    return picture;
}

TEST_P(VideoTests, SubpixelMotionUnderTheCeilingIsIntact) {
    constexpr int width = 160;
    constexpr int height = 96;
    MovieMaker maker({settings(width, height, 90'000)});
    for (int i = 0; i < 200; ++i) {
        const auto picture = i < 150 ? waves(width, height, i * 0.4) : printed(width, height, 5);
        maker.append(0, frame(at(i * 1000 / 30), picture));
    }
    int shown = 0;
    const auto expectIntact = [&](const stage::Picture& picture) {
        EXPECT_TRUE(shown >= 150 || psnr(*waves(width, height, shown * 0.4), picture) > 20) << shown;
        return ++shown > 0;
    };
    EXPECT_EQ(maker.finished().visitPictures(expectIntact), 200U);
}

/// A wall of stones in shades of grey, along which a camera moves by (3, 1) pixels a picture.
std::shared_ptr<TestPicture> wall(int width, int height, int moved) {
    constexpr int stone = 4;
    auto picture = std::make_shared<TestPicture>(width, height);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const auto number = static_cast<unsigned>((x + 3 * moved) / stone + (y + moved) / stone * 1000);
            picture->fill({x, y, 1, 1}, static_cast<int>(40 + (number * 2654435761U >> 25)), 128, 128);
        }
    }
    return picture;
}

/// Half a second after a pan begins, the H.264 encoder is replaced by one that varies the quantizer.
TEST_P(VideoTests, APanIsIntactAndFine) {
    constexpr int width = 320;
    constexpr int height = 192;
    MovieMaker maker({settings(width, height, 4'000'000)});
    for (int i = 0; i < 70; ++i)
        maker.append(0, frame(at(i * 1000 / 30), wall(width, height, i)));
    MovieProbe probe = maker.finished();
    const auto packets = probe.packets(probe.videoTrack().index);
    const bool isEarlier = std::any_of(packets.begin() + 1, packets.begin() + 20,
                                       [](const stage::Packet& packet) { return packet.isKey; });
    EXPECT_TRUE(isEarlier || GetParam() == AVVideoCodecType::hevc);
    int shown = 0;
    const auto expectFine = [&](const stage::Picture& picture) {
        EXPECT_GT(psnr(*wall(width, height, shown), picture), 44) << shown;
        return ++shown > 0;
    };
    EXPECT_EQ(probe.visitPictures(expectFine), 70U);
}

/// Exhausts the bit-rate bucket, then stays idle until the picture is refined, and goes on.
TEST_P(VideoTests, TextBecomesCrispWhenTheScreenIsIdle) {
    const TemporaryFolder folder;
    MovieFile file(folder / "movie.mp4", AVFileType::mpeg4, RecoveryList(folder / "unfinished"));
    VideoTrack track(settings(640, 368, 1'000'000));
    track.open(file);
    file.begin();
    std::shared_ptr<TestPicture> last;
    for (int i = 0; i < 40; ++i) {
        last = printed(640, 368, static_cast<unsigned>(i));
        track.encode(
            frame(at(i * 1000 / 30), last, frameInfo(static_cast<std::uint64_t>(i), {{0, 0, 640, 368}})),
            start);
        EXPECT_TRUE(i > 0 || !track.idleTimeout()) << "the first picture is fine";
    }
    int idlePeriods = 0;
    for (; track.idleTimeout(); ++idlePeriods)
        track.handleIdle();
    EXPECT_LT(idlePeriods, 30) << "it ends by itself";
    // The next picture keeps its order after the refinements.
    track.encode(frame(at(40 * 1000 / 30), last, frameInfo(39, {})), start);
    file.finish();

    MovieProbe probe(folder / "movie.mp4");
    const std::vector<double> times = probe.pictureTimes();
    const std::size_t refinements = times.size() - 41;
    EXPECT_GE(refinements, 1U);
    EXPECT_LE(refinements, 3U);
    EXPECT_TRUE(std::is_sorted(times.begin(), times.end(), std::less_equal()));
    std::vector<double> quality;
    probe.visitPictures([&](const stage::Picture& picture) {
        quality.push_back(psnr(*last, picture));
        return true;
    });
    EXPECT_GT(quality.back(), quality.at(39) + 6);
    EXPECT_GT(quality.back(), 34);
}

TEST_P(VideoTests, APictureOfAnotherSizeFailsTheWriting) {
    MovieMaker maker({settings(64, 64)});
    maker.append(0, frame(at(0), printed(32, 64, 1)));
    EXPECT_EQ(maker.finish(), AVAssetWriterStatus::failed);
    EXPECT_EQ(localizedDescription(maker.writer().error()),
              "The captured picture doesn't have the movie's size.");
    EXPECT_FALSE(maker.input(0).appendSampleBuffer(frame(at(50), printed(64, 64, 1))));
}

using Bytes = std::vector<std::uint8_t>;

TEST(DecoderConfigurationTests, TheH264RecordHoldsProfileAndSets) {
    const Bytes sequence{0x67, 100, 0, 40, 0xac, 0xd9};
    const Bytes picture{0x68, 0xeb, 0xe3};
    EXPECT_EQ(avcConfiguration(sequence, picture),
              (Bytes{1,    100,  0, 40, 0xff, 0xe1, 0,    6,    0x67, 100,  0,    40,
                     0xac, 0xd9, 1, 0,  3,    0x68, 0xeb, 0xe3, 0xfd, 0xf8, 0xf8, 0}));
}

TEST(DecoderConfigurationTests, TheHevcRecordOmitsEmulationPreventionBytes) {
    const Bytes video{0x40, 1, 0x0c};
    // Level 3.1 behind nine bytes of flags, most of them zero and so with prevention bytes; one nested layer.
    const Bytes sequence{0x42, 1, 1, 0x01, 0x60, 0, 0, 3, 0, 0x90, 0, 0, 3, 0, 0, 3, 0, 93, 0xa0};
    const Bytes picture{0x44, 1};
    Bytes wanted{1,  0x01, 0x60, 0,    0,    0,    0x90, 0, 0, 0,    0, 0,
                 93, 0xf0, 0,    0xfc, 0xfd, 0xf8, 0xf8, 0, 0, 0x0f, 3};
    for (const auto& [type, unit] : {std::pair(32, video), {33, sequence}, {34, picture}}) {
        wanted.insert(wanted.end(), {static_cast<std::uint8_t>(0x80 | type), 0, 1, 0});
        wanted.push_back(static_cast<std::uint8_t>(unit.size()));
        wanted.insert(wanted.end(), unit.begin(), unit.end());
    }
    EXPECT_EQ(hevcConfiguration(video, sequence, picture), wanted);
}

TEST(DecoderConfigurationTests, MissingOrTruncatedSetsAreRefused) {
    const Bytes set{0x42, 1, 1, 1, 0x60, 1, 2, 3, 4, 5, 6, 7, 8, 9, 93};
    const Bytes cutOff(set.begin(), set.end() - 1);
    EXPECT_NO_THROW(hevcConfiguration(set, set, set));
    EXPECT_THROW(hevcConfiguration({}, set, set), PlatformError);
    EXPECT_THROW(hevcConfiguration(set, {}, set), PlatformError);
    EXPECT_THROW(hevcConfiguration(set, set, {}), PlatformError);
    EXPECT_THROW(hevcConfiguration(set, cutOff, set), PlatformError);
    EXPECT_THROW(avcConfiguration(Bytes{0x67, 100, 0}, set), PlatformError);
    EXPECT_THROW(avcConfiguration(set, {}), PlatformError);
}

TEST(HevcEncoderTests, PrintsNothing) {
    testing::internal::CaptureStderr();
    testing::internal::CaptureStdout();
    { HevcEncoder encoder({64, 64, 2'000'000, 30, 60}); }
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

}  // namespace
}  // namespace lumicrate::media
