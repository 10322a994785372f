#include "Tests/Stage/ChildProcess.h"
#include "Tests/Stage/Measure.h"
#include "Tests/Stage/MovieProbe.h"
#include "Tests/Stage/Session.h"

#include <gtest/gtest.h>

namespace lumicrate::stage {

namespace {

// A second of red, then a second of blue, at ten pictures a second, and a tone that begins with the blue.
std::filesystem::path makeMovie(const StageFolder& folder, const std::string& name,
                                const std::vector<std::string>& extra) {
    const auto file = folder.path() / name;
    std::vector<std::string> command{
        "ffmpeg",
        "-loglevel",
        "error",
        "-nostdin",
        "-f",
        "lavfi",
        "-i",
        "color=c=red:s=64x48:r=10:d=1[a];color=c=blue:s=64x48:r=10:d=1[b];[a][b]concat,"
        "scale=out_color_matrix=bt709,format=yuv420p",
        "-f",
        "lavfi",
        "-i",
        "aevalsrc='if(gte(t,1),0.5*sin(2*PI*1000*t),0)':s=48000:d=2",
        "-c:v",
        "libx264",
        "-c:a",
        "aac",
        "-colorspace",
        "bt709",
        "-color_primaries",
        "bt709",
        "-color_trc",
        "bt709"};
    command.insert(command.end(), extra.begin(), extra.end());
    command.push_back(file.string());
    runProgram(command);
    return file;
}

TEST(MovieProbe, seesTracksAndBoxes) {
    const StageFolder folder;
    const MovieProbe front(makeMovie(folder, "front.mp4", {"-movflags", "+faststart"}));
    const MovieProbe back(makeMovie(folder, "back.mp4", {}));
    EXPECT_TRUE(front.indexInFront());
    EXPECT_FALSE(back.indexInFront());
    EXPECT_EQ(front.boxes().front(), "ftyp");
    ASSERT_EQ(front.tracks().size(), 2U);
    const auto& video = front.videoTrack();
    EXPECT_EQ(video.codec, "h264");
    EXPECT_EQ(video.codecTag, "avc1");
    EXPECT_EQ(video.width, 64);
    EXPECT_EQ(video.height, 48);
    EXPECT_EQ(video.colorMatrix, "bt709");
    EXPECT_EQ(video.sampleCount, 20);
    EXPECT_NEAR(video.duration, 2, 0.01);
    EXPECT_EQ(front.audioTrack().sampleRate, 48000);
    EXPECT_EQ(front.audioTrack().profile, "LC");
    EXPECT_THROW(front.audioTrack(1), std::runtime_error);
}

TEST(MovieProbe, showsPicturesAndSoundWhenAPlayerWould) {
    const StageFolder folder;
    MovieProbe probe(makeMovie(folder, "movie.mp4", {"-bf", "2"}));
    const auto times = probe.pictureTimes();
    ASSERT_EQ(times.size(), 20U);
    for (std::size_t i = 0; i < times.size(); ++i) {
        EXPECT_NEAR(times[i], 0.1 * static_cast<double>(i), 0.001);
    }
    EXPECT_LE(probe.pictureAt(0.95)->rgbAt(32, 24).distanceTo({255, 0, 0}), 6);
    EXPECT_LE(probe.pictureAt(1.0)->rgbAt(32, 24).distanceTo({0, 0, 255}), 6);
    EXPECT_NEAR(probe.lastPicture()->time, 1.9, 0.001);

    const auto sound = probe.sound();
    ASSERT_EQ(sound.samples.size(), 1U);
    EXPECT_NEAR(sound.startTime, 0, 0.001);
    EXPECT_NEAR(sound.duration(), 2, 0.03);
    EXPECT_EQ(sound.discontinuities, 0);
    const auto beginning = onset(sound.samples[0], 0.3F);
    ASSERT_TRUE(beginning);
    // The encoder's own delay of 1024 samples would show as 21 ms.
    EXPECT_NEAR(sound.timeAt(*beginning), 1, 0.005);
}

TEST(MovieProbe, leavesOutWhatAnEditListLeavesOut) {
    const StageFolder folder;
    const auto whole = makeMovie(folder, "whole.mp4", {"-g", "100", "-bf", "0"});
    const auto cut = folder.path() / "cut.mp4";
    runProgram({"ffmpeg", "-loglevel", "error", "-nostdin", "-ss", "0.5", "-i", whole.string(), "-c", "copy",
                cut.string()});
    MovieProbe probe(cut);
    const auto times = probe.pictureTimes();
    ASSERT_FALSE(times.empty());
    EXPECT_NEAR(times.front(), 0, 0.001);
    EXPECT_EQ(times.size(), 15U);
    const auto packets = probe.packets(probe.videoTrack().index);
    ASSERT_EQ(packets.size(), 20U);
    EXPECT_TRUE(packets.front().isKey);
    EXPECT_TRUE(packets.front().isDiscarded);
    EXPECT_FALSE(packets.back().isDiscarded);
}

}  // namespace

}  // namespace lumicrate::stage
