// SPDX-License-Identifier: GPL-3.0-or-later
// Streams in which libx265 and our own coders take turns, as a decoder shows them.
#include "Linux/Media/Encoding/HevcEncoder.h"
#include "Tests/Linux/Media/MovieMaker.h"

#include <gtest/gtest.h>

#include <random>

namespace lumicrate::media {
namespace {

using namespace test;
using stage::MovieProbe;

/// The number of slices of a picture.
int slices(const std::string& sample) {
    int count = 0;
    for (std::size_t at = 0; at + 4 <= sample.size(); ++count) {
        std::size_t length = 0;
        for (std::size_t i = 0; i < 4; ++i)
            length = length << 8 | static_cast<std::uint8_t>(sample[at + i]);
        at += 4 + length;
    }
    return count;
}

struct Session {
    int width;
    int height;
    int bitRate;
    int everyNth;  ///< picture in which all changes
    double leastPsnr;
};

/// Letters of all colours are typed, and now and then a new page is shown. Pictures are far enough apart that
/// key pictures become due while only letters were typed.
class HevcPatchTests : public testing::TestWithParam<Session> {
 protected:
    void record() {
        const auto& [width, height, bitRate, everyNth, leastPsnr] = GetParam();
        std::mt19937 random(7);
        const auto below = [&random](int limit) {
            return static_cast<int>(random() % static_cast<unsigned>(limit));
        };
        auto picture = std::make_shared<TestPicture>(width, height);
        picture->print({0, 0, width, height}, 1);
        for (int i = 0; i < 60; ++i) {
            PixelRect changed{below(width - 10), below(height - 10), 10, 10};
            if (i % everyNth == 0) changed = {0, 0, width, height};
            picture = std::make_shared<TestPicture>(*picture);
            picture->print(changed, static_cast<unsigned>(i));
            picture->fill({changed.x, changed.y, 5, 5}, 16 + below(220), 16 + below(225), 16 + below(225));
            maker_.append(0, frame(start + CMTime(i * 200, 1000), picture,
                                   frameInfo(static_cast<std::uint64_t>(i), {changed})));
            shown_.push_back(picture);
        }
    }

    MovieMaker maker_{
        {videoSettings(GetParam().width, GetParam().height, GetParam().bitRate, 30, AVVideoCodecType::hevc)},
        AVFileType::quickTimeMovie};
    std::vector<std::shared_ptr<TestPicture>> shown_;
};

INSTANTIATE_TEST_SUITE_P(Sessions, HevcPatchTests,
                         testing::Values(Session{640, 368, 6'000'000, 60, 38},   // letters only
                                         Session{640, 368, 6'000'000, 17, 38},   // calm in between
                                         Session{640, 368, 6'000'000, 3, 38},    // never calm
                                         Session{1023, 517, 9'000'000, 25, 38},  // a size to be padded
                                         Session{640, 368, 800'000, 4, 14}));    // coarse

TEST_P(HevcPatchTests, EveryPictureIsDecodedAsItWasMeant) {
    record();
    MovieProbe probe = maker_.finished();
    std::size_t index = 0;
    probe.visitPictures([&](const stage::Picture& decoded) {
        const TestPicture& source = *shown_.at(index);
        EXPECT_GT(psnr(source, decoded), GetParam().leastPsnr) << index;
        ++index;
        return true;
    });
    EXPECT_EQ(index, shown_.size());
}

TEST_P(HevcPatchTests, KeyPicturesAreInTimeAndInBandsWhereItIsCalm) {
    record();
    MovieProbe probe = maker_.finished();
    const int everyNth = GetParam().everyNth;
    double key = 0;
    int banded = 0;
    int index = 0;
    for (const stage::Packet& packet : probe.packets(probe.videoTrack().index)) {
        if (packet.isKey) key = packet.pts;
        EXPECT_LT(packet.pts - key, 2.0);
        banded += slices(packet.bytes) > 1 ? 1 : 0;
        // Coarse pictures are followed by finer ones, in which everything is coded.
        const bool isPatch = !packet.isKey && index % everyNth > 0 && GetParam().leastPsnr > 30;
        EXPECT_TRUE(!isPatch || packet.size < 1500) << index << ": " << packet.size;
        ++index;
    }
    EXPECT_EQ(banded > 0, everyNth > 5) << banded;
}

TEST(HevcHeadersTests, UnknownParameterSetsAreRefused) {
    // As libx265 writes them.
    HevcEncoder encoder({256, 128, 1'000'000, 30, 60});
    const std::vector<std::uint8_t>& record = encoder.configuration();
    std::vector<std::vector<std::uint8_t>> sets;
    for (std::size_t at = 23; at < record.size();) {
        const int count = record[at + 2];
        at += 3;
        for (int i = 0; i < count; ++i) {
            const std::size_t length = std::size_t{record[at]} << 8 | record[at + 1];
            sets.emplace_back(record.begin() + static_cast<std::ptrdiff_t>(at) + 2,
                              record.begin() + static_cast<std::ptrdiff_t>(at + 2 + length));
            at += 2 + length;
        }
    }
    ASSERT_EQ(sets.size(), 4U) << "the last one is for patches";
    EXPECT_EQ(sets[3], patchParameterSet());
    const auto parsed = parseHevcSequence(sets[1], sets[2]);
    ASSERT_TRUE(parsed);
    EXPECT_EQ(parsed->width, 256);
    EXPECT_EQ(parsed->log2Tree, 6);
    EXPECT_TRUE(parsed->wavefronts);
    for (std::size_t length = 0; length < 24; ++length)
        EXPECT_FALSE(parseHevcSequence(std::span(sets[1]).first(length), sets[2])) << length;
    EXPECT_FALSE(parseHevcSequence(sets[2], sets[1]));
}

}  // namespace
}  // namespace lumicrate::media
