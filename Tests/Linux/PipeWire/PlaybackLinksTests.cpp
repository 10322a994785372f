// SPDX-License-Identifier: GPL-3.0-or-later
// A part of the system's sound: one application's, or the others' while this program plays.
#include "Linux/PipeWire/AudioSource.h"
#include "Tests/Linux/PipeWire/SoundStage.h"
#include "Tests/Stage/Session.h"
#include "Tests/Stage/SoundServer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cmath>
#include <optional>

namespace lumicrate::test {
namespace {

using pipewire::AudioSource;
using namespace std::chrono_literals;

class PlaybackLinksTests : public testing::Test {
 protected:
    /// A command that plays a tone on both channels of "spk", the right one with half the amplitude.
    std::string tone(int frequency, int seconds, double amplitude = 0.25) const {
        const std::string file = (session->home() / ("tone-" + std::to_string(frequency) + ".wav")).string();
        const std::string left = std::to_string(amplitude) + "*sin(2*PI*t*" + std::to_string(frequency) + ")";
        stage::runProgram({"ffmpeg", "-v", "error", "-f", "lavfi", "-i",
                           "aevalsrc=" + left + "|0.5*" + left + ":s=48000:d=" + std::to_string(seconds),
                           file});
        return "pw-play --target spk " + file;
    }
    /// A program whose children play.
    static stage::ChildProcess start(const std::string& commands) {
        return stage::ChildProcess({"sh", "-c", commands + "; wait"});
    }
    /// Of the newest sound.
    static double level(const Running& source, double frequency, std::size_t channel = 0) {
        const Take take = source.take();
        if (take.channels.empty()) return 0;
        const auto& samples = take.channels.at(channel);
        return stage::toneAmplitude(std::span(samples).last(std::min<std::size_t>(samples.size(), 9600)),
                                    48000, frequency);
    }
    /// Whether a tone is recorded, within 1 dB in both channels, and another one is not. For once: a busy
    /// machine may lose a part of the sound, which disturbs all frequencies.
    static bool becomes(const Running& source, double frequency, double absent) {
        return stage::eventually([&] {
            return std::abs(level(source, frequency) - 0.25) < 0.025 &&
                   std::abs(level(source, frequency, 1) - 0.125) < 0.0125 && level(source, absent) < 0.0025;
        });
    }

    std::shared_ptr<const stage::Session> session = std::make_shared<stage::Session>();
    stage::SoundServer server{session};
};

TEST_F(PlaybackLinksTests, OneApplicationIsRecordedAndNoOther) {
    stage::ChildProcess other = start(tone(900, 60));
    // It plays, ends, plays again, and opens another stream.
    stage::ChildProcess program = start(tone(500, 3) + "; (" + tone(700, 60) + ") & " + tone(1300, 60));
    Running source(AudioSource::systemSound({2, true, program.processId()}));
    EXPECT_TRUE(becomes(source, 500, 900));
    EXPECT_TRUE(becomes(source, 1300, 900));
    EXPECT_TRUE(becomes(source, 700, 900));

    const auto inputs = server.pactl({"list", "short", "sink-inputs"});
    ASSERT_EQ(std::ranges::count(inputs, '\n'), 3);
    const std::string last = inputs.substr(inputs.rfind('\n', inputs.size() - 2) + 1);
    const std::string moved = last.substr(0, last.find('\t'));
    server.addSpeaker("elsewhere", "Another speaker");
    server.pactl({"move-sink-input", moved, "elsewhere"});
    server.pactl({"set-sink-input-volume", moved, "50%"});
    // A volume is the cube of its scale.
    EXPECT_TRUE(stage::eventually([&] {
        return std::abs(level(source, 700) + level(source, 1300) - 0.25 * 1.125) < 0.01;
    })) << level(source, 700)
        << " " << level(source, 1300);
    source.stop();
    EXPECT_THAT(source.notices(), testing::IsEmpty());
    EXPECT_TRUE(source.take().wellFormed);
}

TEST_F(PlaybackLinksTests, OneApplicationsSoundIsStampedWithTheTimeItIsAudible) {
    Running source(AudioSource::systemSound({2, true, getpid()}));
    const auto expectTones = [&](const std::string& output) {
        Player player(output);
        player.beginTone(700, 0.5);
        ASSERT_TRUE(source.awaitTone(700));
        player.endTone();
        ASSERT_TRUE(source.awaitUntil(HostClock::now() + 200ms));
        const Tone tone = playAndMeasure(player, source, 1000, 3, 300ms);
        EXPECT_NEAR(tone.amplitude, 0.5, 0.02);
        EXPECT_NEAR(tone.onset, 0, 25);
    };
    expectTones("spk");
    server.restartManager();
    expectTones("spk");
    server.kill();
    EXPECT_TRUE(source.awaitSilence(1200ms));
    server.revive();
    expectTones("micfeed");
    // A silent application is not missing sound.
    EXPECT_TRUE(source.awaitUntil(HostClock::now() + 1200ms));
    source.stop();
    EXPECT_THAT(source.notices(), testing::Each(testing::StartsWith("The sound server was gone for ")));
}

TEST_F(PlaybackLinksTests, TheSoundOfThisProgramIsLeftOutWithoutHarmToOthers) {
    stage::ChildProcess other = start(tone(500, 60));
    Running source(AudioSource::systemSound({2, true, std::nullopt}));
    ASSERT_TRUE(source.awaitTone(500));
    ASSERT_TRUE(source.awaitUntil(HostClock::now() + 300ms));
    const std::size_t first = source.take().channels[0].size();
    for (int i = 0; i < 2; ++i) {
        Player own("spk");
        own.beginTone(1100, 0.5);
        EXPECT_TRUE(becomes(source, 500, 1100));
    }
    // Back to the output.
    ASSERT_TRUE(source.awaitUntil(HostClock::now() + 500ms));
    source.stop();
    const Take take = source.take();
    const std::span samples(take.channels[0]);
    std::size_t windows = 0;
    std::size_t faults = 0;  // A busy machine loses some sound.
    for (std::size_t i = first; i + 2400 < samples.size(); i += 2400, ++windows)
        faults += std::abs(stage::toneAmplitude(samples.subspan(i, 2400), 48000, 500) - 0.25) > 0.025;
    EXPECT_LE(faults * 4, windows);
    for (std::size_t i = 1; i < take.buffers.size(); ++i)
        EXPECT_GT(take.buffers[i].stamp, take.buffers[i - 1].end() - 1ms) << "sound twice";
    EXPECT_THAT(source.notices(), testing::IsEmpty());
}

}  // namespace
}  // namespace lumicrate::test
