// SPDX-License-Identifier: GPL-3.0-or-later
// A camera in the real application: the bubble in a recording of the screen, and the studio.
#include "Tests/App/DesktopAppTest.h"
#include "Tests/Linux/PipeWire/SoundStage.h"
#include "Tests/Linux/PipeWire/VirtualCamera.h"
#include "Tests/Stage/Scene/FrameNumber.h"

#include <algorithm>
#include <numeric>

namespace lumicrate::test {
namespace {

using stage::VirtualCamera;
using testing::Each;
using testing::Gt;

constexpr double frameInterval = 1.0 / 30;

class WebcamTests : public DesktopAppTest {
 protected:
    WebcamTests() : DesktopAppTest(true) {}

    static VirtualCamera::Options camera(int frameWidth, int frameHeight) {
        VirtualCamera::Options options;
        options.formats = {{"MJPG", frameWidth, frameHeight, 30}};
        return options;
    }
    static bool awaitColor(int x, int y, const Rgb& color) {
        return eventually([&] { return Painter().read(x, y, 1, 1).front().distanceTo(color) < 12; });
    }
    /// Frames the picture in the studio, and confirms it.
    static void confirmStudio() {
        send("toggle");
        xdotool({"search", "--sync", "--onlyvisible", "--name", "^Webcam$", "windowfocus", "--sync"});
        ASSERT_TRUE(eventually([] {
            xdotool({"key", "Return"});
            return status()["state"] == "recording";
        }));
    }
    /// Plays a tone, and returns its host time in seconds.
    static double beep(Player& player) {
        const auto begin = player.beginTone(1000, 0.5);
        pass(0.3);
        player.endTone();
        return std::chrono::duration<double>(begin).count();
    }
    static void togglePause(const char* state) {
        send("pause");
        awaitState(state);
    }
};

TEST_F(WebcamTests, TheBubbleMovesIntoTheAreaAndIsRecorded) {
    const VirtualCamera front(camera(640, 480));
    prefer(
        "areaRect={{100, 100}, {600, 400}}\nwebcamEnabled=true\nwebcamShape=rectangle\ncountdown=false\n"
        "quality=native\nopenPreview=false\n");
    start();
    xdotool({"mousemove", "20", "20"});
    // 200 × 150 points. Mirrored, the red square at the camera's top right is at the top left.
    constexpr int inset = 13;
    const auto expectAt = [](int left, int top) {
        EXPECT_TRUE(awaitColor(left + inset, top + inset, VirtualCamera::topRight));
        EXPECT_TRUE(awaitColor(left + 200 - inset, top + 150 - inset, VirtualCamera::bottomLeft));
    };
    expectAt(width - 32 - 200, height - 32 - 150);
    send("area");
    awaitState("selectingArea");
    ASSERT_TRUE(eventually([] {
        xdotool({"key", "Return"});
        return status()["state"] == "recording";
    }));
    expectAt(480, 330);
    ASSERT_TRUE(eventually([] { return status()["elapsed"] > 1; }));
    const std::filesystem::path movie = status()["file"].get<std::string>();
    send("toggle");
    awaitState("idle");
    const auto last = MovieProbe(movie).lastPicture();
    EXPECT_LE(last->rgbAt(380 + inset, 230 + inset).distanceTo(VirtualCamera::topRight), 16);
    EXPECT_LE(last->rgbAt(580 - inset, 380 - inset).distanceTo(VirtualCamera::bottomLeft), 16);
    expectAt(width - 32 - 200, height - 32 - 150);
}

TEST_F(WebcamTests, TheStudioKeepsFramesInTimeWithTheSound) {
    const VirtualCamera front(camera(1280, 720));
    Player voice("micfeed");
    for (const std::string format : {"mp4H264", "movHEVC"}) {
        SCOPED_TRACE(format);
        prefer(
            "captureMode=webcam\nwebcamMirror=false\ncountdown=false\ncaptureMicrophone=true\n"
            "openPreview=false\nformat=" +
            format + "\n");
        start();
        confirmStudio();
        const std::filesystem::path movie = status()["file"].get<std::string>();
        const double seconds = isThorough() ? 29 : 1;
        std::vector<double> beeps{beep(voice)};
        pass(seconds);
        togglePause("paused");
        pass(0.5);
        togglePause("recording");
        beeps.push_back(beep(voice));
        pass(seconds);
        beeps.push_back(beep(voice));
        pass(0.2);
        send("toggle");
        awaitState("idle");

        MovieProbe probe(movie);
        std::vector<std::pair<int, double>> frames;
        probe.visitPictures([&](const Picture& picture) {
            const int number = stage::FrameNumber::read(picture.luma()).value_or(-1);
            // The last frame can be repeated to fill the time up to the end.
            if (frames.empty() || number != frames.back().first) frames.emplace_back(number, picture.time);
            return true;
        });
        std::vector<int> steps;
        for (std::size_t i = 1; i < frames.size(); ++i)
            steps.push_back(frames[i].first - frames[i - 1].first);
        ASSERT_THAT(steps, Each(Gt(0)));
        const auto pause = std::ranges::max_element(steps);
        const auto lost = std::accumulate(steps.begin(), steps.end(), 0) - *pause - std::ssize(steps) + 1;
        // A machine that is busy with other tests loses some.
        if (isThorough()) {
            EXPECT_EQ(lost, 0);
        }
        EXPECT_EQ(probe.videoTrack().codec, format == "mp4H264" ? "h264" : "hevc");

        // The host time at which the movie's time was zero, by the frames and by the sound.
        const auto resumed = static_cast<std::size_t>(pause - steps.begin()) + 1;
        const auto zeroByFrame = [&](std::size_t i) {
            const auto [number, time] = frames.at(i);
            return std::chrono::duration<double>(front.timeOf(number).value()).count() - time;
        };
        const stage::Sound sound = probe.sound();
        const auto heard = stage::onsets(sound.samples.at(0), 0.05F, 9600);
        ASSERT_EQ(heard.size(), beeps.size());
        for (std::size_t i = 0; i < beeps.size(); ++i) {
            const double zero = beeps[i] - sound.timeAt(heard[i]);
            EXPECT_NEAR(zero,
                        zeroByFrame(i == 0   ? 0
                                    : i == 1 ? resumed
                                             : frames.size() - 1),
                        frameInterval)
                << "beep " << i;
        }
    }
}

}  // namespace
}  // namespace lumicrate::test
