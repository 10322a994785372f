// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Media/Encoding/DecoderConfiguration.h"
#include "Support/Error.h"

#include <gtest/gtest.h>

namespace lumicrate::media {
namespace {

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
    wanted.insert(wanted.end(), {0x80 | 32, 0, 1, 0, 3});
    wanted.insert(wanted.end(), video.begin(), video.end());
    wanted.insert(wanted.end(), {0x80 | 33, 0, 1, 0, 19});
    wanted.insert(wanted.end(), sequence.begin(), sequence.end());
    wanted.insert(wanted.end(), {0x80 | 34, 0, 1, 0, 2});
    wanted.insert(wanted.end(), picture.begin(), picture.end());
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

}  // namespace
}  // namespace lumicrate::media
