// SPDX-License-Identifier: GPL-3.0-or-later
#include "Tests/Linux/TemporaryFolder.h"
#include "Tests/Stage/ChildProcess.h"
#include "Tests/Stage/Measure.h"
#include "Tests/Stage/MovieProbe.h"

#include <gtest/gtest.h>

namespace lumicrate::stage {

namespace {

/// A second of red, then a second of blue, at ten pictures a second, and a tone that begins with the blue.
std::filesystem::path makeMovie(const std::filesystem::path& file, const std::string& options) {
    runProgram({"sh", "-c",
                "ffmpeg -v error -nostdin -f lavfi -i 'color=red:64x48:10:1[a];color=blue:64x48:10:1[b];"
                "[a][b]concat,scale=out_color_matrix=bt709,format=yuv420p' -f lavfi -i "
                "'aevalsrc=if(gte(t\\,1)\\,0.5*sin(2*PI*1000*t)\\,0):s=48000:d=2' -colorspace bt709 " +
                    options + " " + file.string()});
    return file;
}

TEST(MovieProbe, PresentsPicturesAndSoundAsAPlayerDoes) {
    const test::TemporaryFolder folder;
    MovieProbe probe(makeMovie(folder / "movie.mp4", "-bf 2"));
    EXPECT_FALSE(probe.indexInFront());
    EXPECT_TRUE(MovieProbe(makeMovie(folder / "front.mp4", "-movflags +faststart")).indexInFront());
    const auto times = probe.pictureTimes();
    ASSERT_EQ(times.size(), 20U);
    for (std::size_t i = 0; i < times.size(); ++i)
        EXPECT_NEAR(times[i], 0.1 * static_cast<double>(i), 0.001);
    EXPECT_LE(probe.pictureAt(0.95)->rgbAt(32, 24).distanceTo({255, 0, 0}), 6);
    EXPECT_LE(probe.pictureAt(1.0)->rgbAt(32, 24).distanceTo({0, 0, 255}), 6);
    EXPECT_NEAR(probe.lastPicture()->time, 1.9, 0.001);

    const auto sound = probe.sound();
    ASSERT_EQ(sound.samples.size(), 1U);
    EXPECT_NEAR(sound.startTime, 0, 0.001);
    EXPECT_NEAR(sound.duration(), 2, 0.03);
    EXPECT_EQ(sound.discontinuities, 0);
    // The encoder's delay of 1024 samples would be 21 ms.
    EXPECT_NEAR(sound.timeAt(onset(sound.samples[0], 0.3F).value()), 1, 0.005);
}

TEST(MovieProbe, LeavesOutWhatAnEditListHides) {
    const test::TemporaryFolder folder;
    const auto whole = makeMovie(folder / "whole.mp4", "-g 100 -bf 0");
    const auto cut = folder / "cut.mp4";
    runProgram({"ffmpeg", "-v", "error", "-nostdin", "-ss", "0.5", "-i", whole, "-c", "copy", cut});
    MovieProbe probe(cut);
    EXPECT_EQ(probe.pictureTimes().size(), 15U);
    EXPECT_NEAR(probe.pictureTimes().front(), 0, 0.001);
    EXPECT_EQ(probe.packets(probe.videoTrack().index).size(), 20U);
}

}  // namespace

}  // namespace lumicrate::stage
