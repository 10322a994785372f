// SPDX-License-Identifier: GPL-3.0-or-later
// The audio recorder window, driven by keys and clicks, with a tone in the microphone and another that the
// computer plays.
#include "Tests/App/DesktopAppTest.h"
#include "Tests/Stage/Measure.h"

#include <cmath>
#include <cstdio>

namespace lumicrate::test {
namespace {

constexpr int microphoneTone = 440;
constexpr int systemTone = 1250;
constexpr double amplitude = 0.5;

class AudioRecorderTests : public DesktopAppTest {
 protected:
    static constexpr int meterLeft = 20;
    static constexpr int meterWidth = 360;

    AudioRecorderTests() : DesktopAppTest(true) {}

    stage::ChildProcess play(int frequency, const std::string& sink) const {
        const std::filesystem::path tone = folder / (sink + ".wav");
        stage::runProgram({"ffmpeg", "-v", "error", "-f", "lavfi", "-i",
                           "aevalsrc=0.5*sin(2*PI*t*" + std::to_string(frequency) + "):s=48000:d=120",
                           tone.string()});
        return stage::ChildProcess({"paplay", "--device=" + sink, tone.string()});
    }
    /// Opens the window by the command behind the shortcut and the tray.
    void open(const std::string& preferences) {
        prefer("captureMode=audio\nopenPreview=false\n" + preferences);
        start();
        send("toggle");
        xdotool({"search", "--sync", "--onlyvisible", "--name", "^Audio Recorder$", "windowfocus", "--sync",
                 "mousemove", "--window", "%1", "0", "0"});
        const std::string place = stage::runProgram({"xdotool", "getmouselocation", "--shell"});
        ASSERT_EQ(std::sscanf(place.c_str(), "X=%d Y=%d", &left_, &top_), 2);
    }
    static void press(const char* key) { xdotool({"key", key}); }
    void clickMain() const { click(left_ + 356, top_ + 36); }
    /// The level and the peak that the meter shows, 0 … 1.
    std::pair<double, double> metered() const {
        constexpr int barMiddle = 75;
        int lit = 0, last = 0, x = 0;
        for (const Rgb& pixel : Painter().read(left_ + meterLeft, top_ + barMiddle, meterWidth, 1)) {
            ++x;
            if (std::abs(int{pixel.green} - int{pixel.blue}) <= 60) continue;
            ++lit;
            last = x;
        }
        return {double(lit) / meterWidth, double(last) / meterWidth};
    }
    /// The first channel between two times, in seconds.
    static std::span<const float> part(const stage::Sound& sound, double from, double to) {
        const auto at = [&](double seconds) { return static_cast<std::size_t>(seconds * sound.sampleRate); };
        return std::span(sound.samples.at(0)).subspan(at(from), at(to - from));
    }

    int left_ = 0;
    int top_ = 0;
};

TEST_F(AudioRecorderTests, ATonesLevelIsShownAndMuted) {
    const stage::ChildProcess playing = play(microphoneTone, "micfeed");
    open("captureMicrophone=true\ncaptureSystemAudio=false\n");
    press("Return");
    awaitState("countingDown");
    press("Escape");
    awaitState("idle");
    press("space");
    awaitState("countingDown");
    EXPECT_EQ(metered().second, 0);
    file = awaitRecording();
    const double loudness = amplitude / std::sqrt(2);
    const double level = (20 * std::log10(loudness) + 50) / 50;
    ASSERT_TRUE(eventually([] { return status()["elapsed"] > 1; }));
    ASSERT_TRUE(eventually([&] { return std::abs(metered().first - level) < 0.02; })) << metered().first;
    press("ctrl+w");
    const double muted = status()["elapsed"];
    press("m");
    // A slow fall would leave the peak where it is, and show it all the way down.
    double peak = 1;
    ASSERT_TRUE(eventually([&] { return (peak = metered().second) < level - 0.05; }));
    EXPECT_EQ(peak, 0);
    ASSERT_TRUE(eventually([&] { return status()["elapsed"] > muted + 1.5; }));
    const double before = status()["elapsed"];
    clickMain();
    awaitState("idle");

    MovieProbe movie(file);
    const stage::Sound sound = movie.sound();
    EXPECT_NEAR(stage::loudness(part(sound, muted - 0.4, muted - 0.1)), loudness, 0.1);
    EXPECT_LT(stage::loudness(part(sound, before - 0.4, before)), 0.01);
}

TEST_F(AudioRecorderTests, EachSourceIsRecordedAloneAndBothTogether) {
    const stage::ChildProcess spoken = play(microphoneTone, "micfeed");
    const stage::ChildProcess played = play(systemTone, "spk");
    for (const auto& [microphone, system] : {std::pair{true, false}, {false, true}, {true, true}}) {
        SCOPED_TRACE(testing::Message() << microphone << system);
        open(std::string("countdown=false\ncaptureSystemAudio=false\ncaptureMicrophone=") +
             (microphone ? "true\n" : "false\n"));
        if (system) click(left_ + 60, top_ + 130);
        clickMain();
        file = awaitRecording();
        ASSERT_TRUE(eventually([] { return status()["elapsed"] > 1.5; }));
        const double before = status()["elapsed"];
        press("Return");
        awaitState("idle");
        MovieProbe movie(file);
        EXPECT_EQ(file.extension(), ".m4a");
        EXPECT_EQ(movie.tracks().size(), 1U);
        EXPECT_EQ(movie.audioTrack().channels, system ? 2 : 1);
        EXPECT_NEAR(movie.duration(), before + 1.4, 1.5);
        const stage::Sound sound = movie.sound();
        const auto contains = [&sound](int frequency) {
            return stage::toneAmplitude(part(sound, 0.5, 1.2), sound.sampleRate, frequency) > amplitude / 4;
        };
        EXPECT_EQ(contains(microphoneTone), microphone);
        EXPECT_EQ(contains(systemTone), system);
    }
}

}  // namespace
}  // namespace lumicrate::test
