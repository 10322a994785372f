#include "Linux/Media/Encoding/HevcEncoder.h"
#include "Support/Error.h"
#include "Tests/Linux/Media/TestPicture.h"

#include <gmock/gmock.h>

namespace lumicrate::media {
namespace {

using test::TestPicture;
using testing::Each;
using testing::ElementsAre;
using testing::Lt;

constexpr int second = videoTimescale;
constexpr int firstParameterSet = 32;

/// The kinds of the NAL units in a sample; a length that does not fit ends them with −1.
std::vector<int> kindsOfUnits(std::span<const std::uint8_t> sample) {
    std::vector<int> kinds;
    while (!sample.empty()) {
        std::size_t length = 0;
        for (std::size_t i = 0; i < 4 && i < sample.size(); ++i)
            length = length << 8 | sample[i];
        if (length < 3 || sample.size() < 4 + length) {
            kinds.push_back(-1);
            break;
        }
        kinds.push_back(sample[4] >> 1 & 0x3f);
        sample = sample.subspan(4 + length);
    }
    return kinds;
}

HevcEncoder::Settings settings(int width, int height) {
    return {width, height, 2'000'000, 30, 60};
}

TEST(HevcEncoderTests, EveryPictureIsThereAtOnceAndHoldsNoParameterSets) {
    HevcEncoder encoder(settings(160, 96));
    TestPicture picture(160, 96);
    std::vector<bool> keys;
    for (int i = 0; i < 5; ++i) {
        picture.noise({0, 0, 80, 96}, static_cast<unsigned>(i));
        const EncodedPicture coded = encoder.encode(picture, std::int64_t{i} * second, std::nullopt);
        const std::vector<int> kinds = kindsOfUnits(coded.data);
        ASSERT_EQ(kinds.size(), 1U) << i;
        EXPECT_THAT(kinds, Each(Lt(firstParameterSet)));
        // IDR pictures, after which nothing refers to what was before.
        EXPECT_EQ(kinds[0] == 19 || kinds[0] == 20, coded.key);
        keys.push_back(coded.key);
    }
    EXPECT_THAT(keys, ElementsAre(true, false, true, false, true));
}

TEST(HevcEncoderTests, TheRecordHoldsTheSetsOnceInOrder) {
    const HevcEncoder encoder(settings(160, 96));
    const std::vector<std::uint8_t>& record = encoder.configuration();
    ASSERT_GT(record.size(), 23U);
    EXPECT_EQ(record[0], 1);
    EXPECT_EQ(record[1], 1) << "Main profile, main tier";
    EXPECT_EQ(record[21] & 3, 3) << "lengths of four bytes";
    ASSERT_EQ(record[22], 3);
    std::size_t place = 23;
    std::vector<int> kinds;
    while (place + 5 < record.size()) {
        kinds.push_back(record[place] & 0x3f);
        EXPECT_EQ(record[place + 1] << 8 | record[place + 2], 1);
        const std::size_t length = static_cast<std::size_t>(record[place + 3] << 8 | record[place + 4]);
        EXPECT_EQ(record[place + 5] >> 1, kinds.back());
        place += 5 + length;
    }
    EXPECT_EQ(place, record.size());
    EXPECT_THAT(kinds, ElementsAre(firstParameterSet, firstParameterSet + 1, firstParameterSet + 2));
}

TEST(HevcEncoderTests, SeveralEncodersLiveSideBySide) {
    HevcEncoder large(settings(320, 192));
    TestPicture largePicture(320, 192);
    EXPECT_TRUE(large.encode(largePicture, 0, std::nullopt).key);
    {
        HevcEncoder tiny(settings(HevcEncoder::minSide, HevcEncoder::minSide));
        const TestPicture tinyPicture(HevcEncoder::minSide, HevcEncoder::minSide);
        EXPECT_TRUE(tiny.encode(tinyPicture, 0, std::nullopt).key);
    }
    EXPECT_FALSE(large.encode(largePicture, second, std::nullopt).key);
}

TEST(HevcEncoderTests, IsSilentAlsoWhenItFails) {
    testing::internal::CaptureStderr();
    testing::internal::CaptureStdout();
    EXPECT_THROW(HevcEncoder(settings(HevcEncoder::minSide - 2, 64)), PlatformError);
    { HevcEncoder encoder(settings(64, 64)); }
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

}  // namespace
}  // namespace lumicrate::media
