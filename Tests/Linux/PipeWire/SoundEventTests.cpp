// Devices and servers that disappear and come back during a recording.
#include "Linux/PipeWire/AudioSource.h"
#include "Tests/Linux/PipeWire/SoundStage.h"
#include "Tests/Stage/SoundServer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>
#include <thread>

namespace lumicrate::test {
namespace {

using pipewire::AudioSource;
using std::chrono::nanoseconds;
using testing::ElementsAre;
using testing::MatchesRegex;
using namespace std::chrono_literals;

class SoundEventTests : public testing::Test {
 protected:
    /// Long enough for a gap to be reported.
    static void awaitGap() { std::this_thread::sleep_for(1200ms); }

    /// Sound is delivered again, with correct timestamps.
    static void expectTone(Running& source, const std::string& output, double frequency) {
        // Sound from before is over then.
        ASSERT_TRUE(source.awaitUntil(HostClock::now() + 200ms));
        Player player(output);
        Tone tone;
        // A busy machine sometimes loses the beginning of a tone.
        for (int i = 0; i < 5 && (i == 0 || std::abs(tone.onset) > 25); ++i)
            tone = playAndMeasure(player, source, frequency, 1, 250ms).front();
        EXPECT_NEAR(tone.frequency, frequency, 50);
        EXPECT_NEAR(tone.onset, 0, 25);
    }
    /// The longest time without sound, in seconds.
    static double longestGap(const Take& take) {
        nanoseconds longest{};
        for (std::size_t i = 1; i < take.buffers.size(); ++i)
            longest = std::max(longest, take.buffers[i].stamp - take.buffers[i - 1].end());
        return std::chrono::duration<double>(longest).count();
    }

    stage::SoundServer server;
};

TEST_F(SoundEventTests, ARemovedOutputIsReplacedAndWithoutAnyThereIsSilence) {
    const unsigned other = server.addSpeaker("other", "Other speaker");
    Running source(AudioSource::systemSound());
    expectTone(source, "spk", 700);
    server.unloadModule(server.speaker());
    server.setDefaultSink("other");
    expectTone(source, "other", 900);
    EXPECT_LT(longestGap(source.take()), 1);

    // Otherwise a dummy output would be added.
    server.pactl({"unload-module", "module-always-sink"});
    server.unloadModule(server.microphone().source);
    server.unloadModule(server.microphone().feed);
    server.unloadModule(other);
    server.awaitDevice("sinks", "other", false);
    awaitGap();
    server.addSpeaker("spk", "Speaker");
    expectTone(source, "spk", 700);
    source.stop();
    EXPECT_GT(longestGap(source.take()), 1);
    EXPECT_THAT(source.notices(), ElementsAre(MatchesRegex("The sound output was missing for 00:0[1-9]; the "
                                                           "system sound is silent there.")));
}

TEST_F(SoundEventTests, AChosenMicrophoneIsReplacedWhileItIsDisconnected) {
    auto headset = server.addMicrophone("headset", "Headset");
    server.setDefaultSource("mic");
    Player feed("micfeed");
    std::optional<Player> headsetFeed("headsetfeed");
    feed.beginTone(500, 0.5);
    headsetFeed->beginTone(900, 0.5);
    Running source(AudioSource::microphone("headset"));
    EXPECT_TRUE(source.awaitTone(900));
    server.unloadModule(headset.source);
    EXPECT_TRUE(source.awaitTone(500));
    awaitGap();
    headset.source =
        server.loadModule("module-remap-source", {"master=headsetfeed.monitor", "source_name=headset"});
    EXPECT_TRUE(source.awaitTone(900));
    headsetFeed.reset();
    expectTone(source, "headsetfeed", 1100);
    source.stop();
    EXPECT_THAT(source.notices(),
                ElementsAre(MatchesRegex("The microphone “Headset” was missing for 00:0[1-9]; the default "
                                         "one was recorded instead.")));
}

TEST_F(SoundEventTests, TheLastMicrophoneIsNotReplacedByAnOutput) {
    Running source(AudioSource::microphone(std::nullopt));
    expectTone(source, "micfeed", 700);
    server.unloadModule(server.microphone().source);
    server.awaitDevice("sources", "mic", false);
    const nanoseconds gone = HostClock::now();
    {
        Player speaker("spk");
        Player feed("micfeed");
        speaker.beginTone(1000, 0.5);
        feed.beginTone(1000, 0.5);
        awaitGap();
    }
    EXPECT_LT(source.take().buffers.back().end(), gone + 100ms);
    EXPECT_EQ(startError(AudioSource::microphone(std::nullopt)), "No microphone is connected.");
    EXPECT_EQ(startError(AudioSource::microphone("mic")), "No microphone is connected.");
    server.loadModule("module-remap-source", {"master=micfeed.monitor", "source_name=mic"});
    expectTone(source, "micfeed", 900);
    source.stop();
    EXPECT_THAT(source.notices(), ElementsAre(MatchesRegex("The microphone was missing for 00:0[1-9]; the "
                                                           "microphone's sound is silent there.")));
}

TEST_F(SoundEventTests, AnOutputIsRecordedAsMicrophoneWhereTheUserChoseIt) {
    Running source(AudioSource::microphone(std::nullopt));
    server.setDefaultSource("spk.monitor");
    expectTone(source, "spk", 700);
    server.setDefaultSource("mic");
    expectTone(source, "micfeed", 900);
    const std::string streams = server.pactl({"list", "source-outputs"});
    const auto number = streams.rfind('#', streams.find("lumicrate-microphone")) + 1;
    Player player("spk");
    player.beginTone(1100, 0.5);
    // The session manager ignores a request now and then.
    EXPECT_TRUE(stage::eventually([&] {
        server.pactl({"move-source-output", streams.substr(number, streams.find('\n', number) - number),
                      "spk.monitor"});
        return source.awaitTone(1100);
    }));
}

TEST_F(SoundEventTests, RecordingContinuesAfterAStreamOrTheSessionManagerEnds) {
    Running sound(AudioSource::systemSound());
    Running microphone(AudioSource::microphone("mic"));
    stage::runProgram({"pw-cli", "destroy", "lumicrate-system-sound"});
    expectTone(sound, "spk", 700);
    server.restartManager();
    expectTone(sound, "spk", 900);
    expectTone(microphone, "micfeed", 900);
}

TEST_F(SoundEventTests, RecordingContinuesWithARestartedServer) {
    Running sound(AudioSource::systemSound());
    Running microphone(AudioSource::microphone("mic"));
    expectTone(sound, "spk", 700);
    server.kill();
    awaitGap();
    server.revive();
    expectTone(sound, "spk", 900);
    expectTone(microphone, "micfeed", 900);
    server.kill();
    const auto count = microphone.take().buffers.size();
    sound.stop();
    microphone.stop();
    EXPECT_LE(microphone.take().buffers.size(), count + 2);
    const auto gone = [](const std::string& track) {
        return MatchesRegex("The sound server was gone for 00:0[1-9]; the " + track + " is silent there.");
    };
    EXPECT_THAT(sound.notices(), ElementsAre(gone("system sound")));
    EXPECT_THAT(microphone.notices(), ElementsAre(gone("microphone's sound")));
    EXPECT_FALSE(sound.failed() || microphone.failed());
}

}  // namespace
}  // namespace lumicrate::test
