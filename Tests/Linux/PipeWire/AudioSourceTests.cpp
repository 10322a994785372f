#include "Linux/PipeWire/AudioSource.h"
#include "Support/Error.h"
#include "Tests/Linux/PipeWire/Player.h"
#include "Tests/Linux/PipeWire/Recorded.h"
#include "Tests/Linux/PipeWire/Running.h"
#include "Tests/Stage/Measure.h"
#include "Tests/Stage/SoundServer.h"

#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <span>
#include <string>

namespace lumicrate::test {

namespace {

using pipewire::AudioSource;
using std::chrono::nanoseconds;
using namespace std::chrono_literals;

/// Stretches follow each other within one part in two hundred of their length. Where the machine was too busy
/// to keep up, sound is missing and shows as a gap; that must be rare and never look like anything else.
void expectContiguous(const Take& take) {
    const auto& stretches = take.stretches;
    std::size_t gaps = 0;
    for (std::size_t i = 1; i < stretches.size(); ++i) {
        const double length = static_cast<double>(stretches[i - 1].frames) / 48000;
        const double step = static_cast<double>((stretches[i].stamp - stretches[i - 1].stamp).count()) / 1e9;
        const bool isGap = step > length + 0.009;
        gaps += isGap ? 1 : 0;
        EXPECT_TRUE(isGap || std::abs(step - length) < 0.005 * length + 1e-6)
            << "stretch " << i << " of " << stretches.size() << " comes after " << step << " s";
    }
    EXPECT_LE(gaps * 20, stretches.size());
}

class LiveSound : public testing::Test {
 protected:
    static void SetUpTestSuite() { server = std::make_unique<stage::SoundServer>(); }
    static void TearDownTestSuite() { server.reset(); }

    static std::unique_ptr<stage::SoundServer> server;
};
std::unique_ptr<stage::SoundServer> LiveSound::server;

}  // namespace

TEST_F(LiveSound, systemSoundArrivesInStereoAtTheTimeItIsPlayed) {
    Player player("spk");
    Running source(AudioSource::systemSound());
    for (const std::size_t channel : {0U, 1U}) {
        const Tone tone = playAndMeasure(player, source, channel);
        EXPECT_NEAR(tone.frequency, 1000, 1);
        EXPECT_NEAR(tone.amplitude, channel == 0 ? 0.5 : 0.25, 0.01);
        EXPECT_NEAR(tone.onset, 0, 10);
    }
    source.stop();
    EXPECT_TRUE(source.take().wellFormed);
    EXPECT_EQ(source.take().channels.size(), 2U);
    EXPECT_FALSE(source.failed());
    expectContiguous(source.take());
}

TEST_F(LiveSound, microphoneArrivesInMonoAtTheTimeItIsSpokenInto) {
    Player player("micfeed");
    Running source(AudioSource::microphone("mic"));
    const Tone tone = playAndMeasure(player, source, 0);
    EXPECT_NEAR(tone.frequency, 1000, 1);
    EXPECT_NEAR(tone.amplitude, (0.5 + 0.25) / 2, 0.01);  // the mean of the two channels
    EXPECT_NEAR(tone.onset, 0, 10);
    source.stop();
    EXPECT_TRUE(source.take().wellFormed);
    EXPECT_EQ(source.take().channels.size(), 1U);
    expectContiguous(source.take());
}

TEST_F(LiveSound, twoSourcesRecordAtOnceWithoutMixing) {
    Player speaker("spk");
    Player feed("micfeed");
    Running sound(AudioSource::systemSound());
    Running microphone(AudioSource::microphone(std::nullopt));
    const nanoseconds played = speaker.beginTone(1000, 0.5);
    const nanoseconds spoken = feed.beginTone(700, 0.5);
    ASSERT_TRUE(sound.awaitUntil(played + 600ms));
    ASSERT_TRUE(microphone.awaitUntil(spoken + 600ms));
    EXPECT_NEAR(toneIn(sound.take(), 0, played).frequency, 1000, 1);
    EXPECT_NEAR(toneIn(microphone.take(), 0, spoken).frequency, 700, 1);
}

TEST_F(LiveSound, stopHandsOnWhatWasCapturedUntilThen) {
    for (const bool ofMicrophone : {false, true}) {
        Running source(ofMicrophone ? AudioSource::microphone(std::nullopt) : AudioSource::systemSound());
        ASSERT_TRUE(source.awaitUntil(HostClock::now()));
        const nanoseconds end = HostClock::now();
        source.stop();
        const Take take = source.take();
        EXPECT_GE(take.stretches.back().end(), end - 20ms);
        source.stop();
        EXPECT_EQ(source.take().stretches.size(), take.stretches.size());
    }
}

TEST_F(LiveSound, systemSoundFollowsTheDefaultOutput) {
    Running source(AudioSource::systemSound());
    const unsigned other = server->addSpeaker("other", "Other speaker");
    server->setDefaultSink("other");
    {
        Player player("other");
        const nanoseconds playedAt = player.beginTone(1500, 0.5);
        ASSERT_TRUE(source.awaitUntil(playedAt + 600ms));
        // The stream may have been moved in the middle of the tone; its rest is there.
        const auto samples = source.take().channels.at(0);
        EXPECT_NEAR(stage::toneFrequency(std::span(samples).last(4800), 48000), 1500, 5);
    }
    server->setDefaultSink("spk");
    server->unloadModule(other);
}

TEST_F(LiveSound, anOutputThatLeadsToAnotherIsStampedAsExactly) {
    const unsigned equalizer = server->addSpeaker("equalizer", "Equalizer");
    for (const std::string recorded : {"equalizer", "spk"}) {
        // One of the two sets the pace for both, so that either case comes up whichever the server picks.
        const std::string other = recorded == "spk" ? "equalizer" : "spk";
        server->setDefaultSink(recorded);
        stage::runProgram({"pw-link", recorded + ":monitor_FL", other + ":playback_FL"});
        Player player(recorded);
        Running source(AudioSource::systemSound());
        EXPECT_NEAR(playAndMeasure(player, source, 0).onset, 0, 10) << recorded;
        stage::runProgram({"pw-link", "-d", recorded + ":monitor_FL", other + ":playback_FL"});
    }
    server->unloadModule(equalizer);
}

TEST_F(LiveSound, anUnknownMicrophoneIsReplacedByTheDefaultOne) {
    const auto second = server->addMicrophone("second", "Second microphone");
    server->setDefaultSource("mic");
    Player feed("micfeed");
    Player secondFeed("secondfeed");
    Running unknown(AudioSource::microphone("not-there"));
    Running chosen(AudioSource::microphone("second"));
    const nanoseconds spoken = feed.beginTone(500, 0.5);
    const nanoseconds spokenToSecond = secondFeed.beginTone(900, 0.5);
    ASSERT_TRUE(unknown.awaitUntil(spoken + 600ms));
    ASSERT_TRUE(chosen.awaitUntil(spokenToSecond + 600ms));
    EXPECT_NEAR(toneIn(unknown.take(), 0, spoken).frequency, 500, 1);
    EXPECT_NEAR(toneIn(chosen.take(), 0, spokenToSecond).frequency, 900, 1);
    unknown.stop();
    chosen.stop();
    server->unloadModule(second.source);
    server->unloadModule(second.feed);
}

TEST(SoundServerLoss, silencesRunningSourcesAndNoMore) {
    stage::SoundServer server;
    Running sound(AudioSource::systemSound());
    Running microphone(AudioSource::microphone(std::nullopt));
    ASSERT_TRUE(sound.awaitUntil(HostClock::now()));
    ASSERT_TRUE(microphone.awaitUntil(HostClock::now()));
    server.kill();
    const auto count = microphone.take().stretches.size();
    microphone.stop();
    sound.stop();
    EXPECT_LE(microphone.take().stretches.size(), count + 2);
    EXPECT_FALSE(sound.failed());
    EXPECT_FALSE(microphone.failed());
    EXPECT_EQ(sentenceOfStarting(AudioSource::systemSound()), "No sound server can be reached.");
}

TEST(MissingDevices, areToldInASentence) {
    stage::SoundServer server;
    server.unloadModule(server.microphone().source);
    EXPECT_EQ(sentenceOfStarting(AudioSource::microphone(std::nullopt)), "No microphone is connected.");
    EXPECT_EQ(sentenceOfStarting(AudioSource::microphone("mic")), "No microphone is connected.");
}

}  // namespace lumicrate::test
