// Devices and servers that go and come back under a recording.

#include "Linux/PipeWire/AudioSource.h"
#include "Tests/Linux/PipeWire/Player.h"
#include "Tests/Linux/PipeWire/Running.h"
#include "Tests/Stage/SoundServer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <optional>
#include <thread>

namespace lumicrate::test {
namespace {

using pipewire::AudioSource;
using std::chrono::nanoseconds;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::MatchesRegex;
using namespace std::chrono_literals;

class SoundEvents : public testing::Test {
 protected:
    /// So long that it is worth a sentence.
    static void pass() { std::this_thread::sleep_for(1200ms); }

    /// Sound flows again, and what is played from now on stands at its time.
    static void expectTone(Running& source, const std::string& output, double frequency) {
        // What may still have been heard before is over.
        ASSERT_TRUE(source.awaitUntil(HostClock::now() + 200ms));
        Player player(output);
        // A busy machine loses the beginning of a tone now and then.
        Tone tone = playAndMeasure(player, source, 0, frequency, 1, 250ms);
        for (int i = 0; i < 4 && std::abs(tone.onset) > 25; ++i)
            tone = playAndMeasure(player, source, 0, frequency, 1, 250ms);
        EXPECT_NEAR(tone.frequency, frequency, 50);
        EXPECT_NEAR(tone.onset, 0, 25);
    }
    /// The longest time for which nothing was heard, in seconds.
    static double longestGap(const Take& take) {
        nanoseconds longest{};
        for (std::size_t i = 1; i < take.stretches.size(); ++i)
            longest = std::max(longest, take.stretches[i].stamp - take.stretches[i - 1].end());
        return std::chrono::duration<double>(longest).count();
    }

    stage::SoundServer server;
};

TEST_F(SoundEvents, AnOutputThatGoesGivesWayToAnother) {
    server.addSpeaker("other", "Other speaker");
    Running source(AudioSource::systemSound());
    expectTone(source, "spk", 700);
    server.unloadModule(server.speaker());
    server.setDefaultSink("other");
    expectTone(source, "other", 900);
    source.stop();
    EXPECT_LT(longestGap(source.take()), 1);
    EXPECT_THAT(source.notices(), IsEmpty());
}

TEST_F(SoundEvents, TheOnlyOutputLeavesSilenceUntilOneIsThere) {
    Running source(AudioSource::systemSound());
    // Or a dummy would take the place.
    server.pactl({"unload-module", "module-always-sink"});
    server.unloadModule(server.microphone().source);
    server.unloadModule(server.microphone().feed);
    server.unloadModule(server.speaker());
    server.awaitDevice("sinks", "spk", false);
    pass();
    server.addSpeaker("spk", "Speaker");
    expectTone(source, "spk", 700);
    source.stop();
    EXPECT_GT(longestGap(source.take()), 1);
    EXPECT_THAT(source.notices(), ElementsAre(MatchesRegex("The sound output was missing for 00:0[1-9]; the "
                                                           "system sound is silent there.")));
}

TEST_F(SoundEvents, AChosenMicrophoneIsReplacedWhileItIsAway) {
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
    pass();
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

TEST_F(SoundEvents, TheLastMicrophoneIsNotReplacedByAnOutput) {
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
        pass();
    }
    EXPECT_LT(source.take().stretches.back().end(), gone + 100ms);
    server.loadModule("module-remap-source", {"master=micfeed.monitor", "source_name=mic"});
    expectTone(source, "micfeed", 900);
    source.stop();
    EXPECT_THAT(source.notices(), ElementsAre(MatchesRegex("The microphone was missing for 00:0[1-9]; the "
                                                           "microphone's sound is silent there.")));
}

TEST_F(SoundEvents, AnOutputInTheMicrophonesPlaceIsHeardWhereTheUserWishesIt) {
    Running source(AudioSource::microphone(std::nullopt));
    server.setDefaultSource("spk.monitor");
    expectTone(source, "spk", 700);
    server.setDefaultSource("mic");
    expectTone(source, "micfeed", 900);
    const std::string streams = server.pactl({"list", "source-outputs"});
    const auto number = streams.rfind('#', streams.find("lumicrate-microphone")) + 1;
    Player player("spk");
    player.beginTone(1100, 0.5);
    bool isHeard = false;
    // The session manager drops a wish now and then.
    for (int i = 0; i < 5 && !isHeard; ++i) {
        server.pactl({"move-source-output", streams.substr(number, streams.find('\n', number) - number),
                      "spk.monitor"});
        isHeard = source.awaitTone(1100);
    }
    EXPECT_TRUE(isHeard);
}

TEST_F(SoundEvents, AStreamThatSomebodyEndsIsMadeAnew) {
    Running source(AudioSource::systemSound());
    stage::runProgram({"pw-cli", "destroy", "lumicrate-system-sound"});
    expectTone(source, "spk", 700);
}

TEST_F(SoundEvents, SoundGoesOnWithANewSessionManager) {
    Running sound(AudioSource::systemSound());
    Running microphone(AudioSource::microphone("mic"));
    server.restartManager();
    expectTone(sound, "spk", 700);
    expectTone(microphone, "micfeed", 900);
}

TEST_F(SoundEvents, SoundGoesOnWithANewServer) {
    Running sound(AudioSource::systemSound());
    Running microphone(AudioSource::microphone("mic"));
    expectTone(sound, "spk", 700);
    server.kill();
    pass();
    server.revive();
    expectTone(sound, "spk", 900);
    expectTone(microphone, "micfeed", 900);
    server.kill();
    sound.stop();
    microphone.stop();
    const auto gone = [](const std::string& track) {
        return MatchesRegex("The sound server was gone for 00:0[1-9]; the " + track + " is silent there.");
    };
    EXPECT_THAT(sound.notices(), ElementsAre(gone("system sound")));
    EXPECT_THAT(microphone.notices(), ElementsAre(gone("microphone's sound")));
    EXPECT_FALSE(sound.failed());
}

}  // namespace
}  // namespace lumicrate::test
