// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/PipeWire/AudioSource.h"
#include "Tests/Linux/PipeWire/SoundStage.h"
#include "Tests/Stage/SoundServer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>

namespace lumicrate::test {
namespace {

using pipewire::AudioSource;
using std::chrono::nanoseconds;
using testing::ElementsAre;
using testing::MatchesRegex;
using namespace std::chrono_literals;

/// The distance of two buffers' timestamps is the length within 0.5 %. Where the machine was too busy to keep
/// up, sound is missing and shows as a gap; that must be rare and never look like anything else.
void expectContiguous(const Take& take) {
    const auto& buffers = take.buffers;
    std::size_t gaps = 0;
    for (std::size_t i = 1; i < buffers.size(); ++i) {
        const double length = static_cast<double>(buffers[i - 1].frames) / 48000;
        const double step = std::chrono::duration<double>(buffers[i].stamp - buffers[i - 1].stamp).count();
        if (step > length + 0.009) {
            ++gaps;
        } else {
            EXPECT_NEAR(step, length, 0.005 * length + 1e-6) << i;
        }
    }
    EXPECT_LE(gaps * 20, buffers.size());
}

/// The tests share a sound server.
class AudioSourceTests : public testing::Test {
 protected:
    static void SetUpTestSuite() { server = std::make_unique<stage::SoundServer>(); }
    static void TearDownTestSuite() { server.reset(); }

    static std::unique_ptr<stage::SoundServer> server;
};
std::unique_ptr<stage::SoundServer> AudioSourceTests::server;

TEST_F(AudioSourceTests, SoundIsStampedWithTheTimeItIsAudible) {
    struct {
        const char* playedOn;
        std::unique_ptr<SampleSource> source;
        std::vector<double> amplitudes;  // of the channels; a microphone's is the mean of both
    } cases[] = {{"spk", AudioSource::systemSound(), {0.5, 0.25}},
                 {"micfeed", AudioSource::microphone("mic"), {(0.5 + 0.25) / 2}}};
    for (auto& [playedOn, made, amplitudes] : cases) {
        Player player(playedOn);
        Running source(std::move(made));
        for (std::size_t channel = 0; channel < amplitudes.size(); ++channel) {
            const Tone tone = playAndMeasure(player, source, 1000, 5, 600ms, channel);
            EXPECT_NEAR(tone.frequency, 1000, 1) << playedOn;
            EXPECT_NEAR(tone.amplitude, amplitudes[channel], 0.01) << playedOn;
            EXPECT_NEAR(tone.onset, 0, 5) << playedOn;
        }
        source.stop();
        EXPECT_TRUE(source.take().wellFormed);
        EXPECT_EQ(source.take().channels.size(), amplitudes.size());
        EXPECT_FALSE(source.failed());
        expectContiguous(source.take());
    }
}

/// The median length of what arrives at once, in frames, from that time on.
std::size_t groupLength(const Take& take, nanoseconds from) {
    std::vector<std::size_t> groups;
    nanoseconds before{};
    for (const Take::Buffer& buffer : take.buffers) {
        if (buffer.stamp < from) continue;
        if (groups.empty() || buffer.arrived > before + 8ms) groups.push_back(0);
        groups.back() += buffer.frames;
        before = buffer.arrived;
    }
    std::ranges::nth_element(groups, groups.begin() + static_cast<std::ptrdiff_t>(groups.size() / 2));
    return groups.at(groups.size() / 2);
}

TEST_F(AudioSourceTests, SilenceArrivesLessOftenThanSound) {
    Player player("spk");
    Running source(AudioSource::systemSound());
    const nanoseconds silentFrom = HostClock::now() + 200ms;
    ASSERT_TRUE(source.awaitUntil(silentFrom + 1s));
    EXPECT_GE(groupLength(source.take(), silentFrom), 4096U);
    const nanoseconds soundingFrom = player.beginTone(1000, 0.5) + 200ms;
    ASSERT_TRUE(source.awaitUntil(soundingFrom + 1s));
    EXPECT_LE(groupLength(source.take(), soundingFrom), 2048U);
}

TEST_F(AudioSourceTests, StopDeliversWhatWasCapturedUntilThen) {
    for (const bool ofMicrophone : {false, true}) {
        Running source(ofMicrophone ? AudioSource::microphone(std::nullopt) : AudioSource::systemSound());
        ASSERT_TRUE(source.awaitUntil(HostClock::now()));
        const nanoseconds end = HostClock::now();
        source.stop();
        const Take take = source.take();
        EXPECT_GE(take.buffers.back().end(), end - 20ms);
        source.stop();
        EXPECT_EQ(source.take().buffers.size(), take.buffers.size());
    }
}

TEST_F(AudioSourceTests, SystemSoundFollowsTheDefaultOutputAlsoWhereOneFeedsAnother) {
    const unsigned equalizer = server->addSpeaker("equalizer", "Equalizer");
    Running following(AudioSource::systemSound());
    for (const std::string recorded : {"equalizer", "spk"}) {
        // One of the two drives the cycles of both, so that both cases occur whichever the server picks.
        const std::string other = recorded == "spk" ? "equalizer" : "spk";
        server->setDefaultSink(recorded);
        stage::runProgram({"pw-link", recorded + ":monitor_FL", other + ":playback_FL"});
        Player player(recorded);
        player.beginTone(1500, 0.5);
        EXPECT_TRUE(following.awaitTone(1500)) << recorded;
        player.endTone();
        Running source(AudioSource::systemSound());
        EXPECT_NEAR(playAndMeasure(player, source).onset, 0, 10) << recorded;
        stage::runProgram({"pw-link", "-d", recorded + ":monitor_FL", other + ":playback_FL"});
    }
    server->unloadModule(equalizer);
}

TEST_F(AudioSourceTests, SourcesRecordAtOnceAndAnUnknownMicrophoneIsReplacedByTheDefaultOne) {
    const auto second = server->addMicrophone("second", "Second microphone");
    server->setDefaultSource("mic");
    {
        Player speaker("spk");
        Player feed("micfeed");
        Player secondFeed("secondfeed");
        speaker.beginTone(1300, 0.5);
        feed.beginTone(500, 0.5);
        secondFeed.beginTone(900, 0.5);
        Running sound(AudioSource::systemSound());
        Running standard(AudioSource::microphone(std::nullopt));
        Running unknown(AudioSource::microphone("not-there"));
        Running chosen(AudioSource::microphone("second"));
        EXPECT_TRUE(sound.awaitTone(1300));
        EXPECT_TRUE(standard.awaitTone(500));
        EXPECT_TRUE(unknown.awaitTone(500));
        EXPECT_TRUE(chosen.awaitTone(900));
    }
    server->unloadModule(second.source);
    server->unloadModule(second.feed);
}

/// Devices and servers that disappear and come back during a recording.
class SoundEventTests : public testing::Test {
 protected:
    /// Long enough to be reported.
    static constexpr std::chrono::milliseconds gap = 1200ms;

    /// Sound is delivered again, with correct timestamps.
    static void expectTone(Running& source, const std::string& output, double frequency) {
        Player player(output);
        // The session manager may take its time to link the stream.
        player.beginTone(frequency, 0.5);
        ASSERT_TRUE(source.awaitTone(frequency));
        player.endTone();
        Tone tone;
        // A busy machine sometimes loses the beginning of a tone.
        for (int i = 0; i < 5 && (i == 0 || std::abs(tone.onset) > 25); ++i) {
            ASSERT_TRUE(source.awaitUntil(HostClock::now() + 200ms));  // Sound from before is over then.
            tone = playAndMeasure(player, source, frequency, 1, 250ms);
        }
        EXPECT_NEAR(tone.frequency, frequency, 50);
        EXPECT_NEAR(tone.onset, 0, 25);
    }
    /// The only one, for a gap of some seconds.
    static void expectNotice(const Running& source, const std::string& what, const std::string& instead) {
        EXPECT_THAT(source.notices(), ElementsAre(MatchesRegex(what + " for 00:0[1-9]; " + instead)));
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

    // Otherwise a dummy output would be added.
    server.pactl({"unload-module", "module-always-sink"});
    server.unloadModule(server.microphone().source);
    server.unloadModule(server.microphone().feed);
    server.unloadModule(other);
    server.awaitDevice("sinks", "other", false);
    EXPECT_TRUE(source.awaitSilence(gap));
    server.addSpeaker("spk", "Speaker");
    expectTone(source, "spk", 700);
    source.stop();
    // One gap only, so none while the output was replaced.
    expectNotice(source, "The sound output was missing", "the system sound is silent there.");
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
    EXPECT_TRUE(source.awaitUntil(HostClock::now() + gap));
    headset.source =
        server.loadModule("module-remap-source", {"master=headsetfeed.monitor", "source_name=headset"});
    EXPECT_TRUE(source.awaitTone(900));
    headsetFeed.reset();
    expectTone(source, "headsetfeed", 1100);
    source.stop();
    expectNotice(source, "The microphone “Headset” was missing", "the default one was recorded instead.");
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
        EXPECT_TRUE(source.awaitSilence(gap));
    }
    EXPECT_LT(source.take().buffers.back().end(), gone + 100ms);
    EXPECT_EQ(startError(AudioSource::microphone(std::nullopt)), "No microphone is connected.");
    EXPECT_EQ(startError(AudioSource::microphone("mic")), "No microphone is connected.");
    server.loadModule("module-remap-source", {"master=micfeed.monitor", "source_name=mic"});
    expectTone(source, "micfeed", 900);
    source.stop();
    expectNotice(source, "The microphone was missing", "the microphone's sound is silent there.");
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
    EXPECT_TRUE(sound.awaitSilence(gap) && microphone.awaitSilence(gap));
    server.revive();
    expectTone(sound, "spk", 900);
    expectTone(microphone, "micfeed", 900);
    server.kill();
    const auto count = microphone.take().buffers.size();
    sound.stop();
    microphone.stop();
    EXPECT_LE(microphone.take().buffers.size(), count + 2);
    expectNotice(sound, "The sound server was gone", "the system sound is silent there.");
    expectNotice(microphone, "The sound server was gone", "the microphone's sound is silent there.");
    EXPECT_FALSE(sound.failed() || microphone.failed());
}

}  // namespace
}  // namespace lumicrate::test

// The thread sanitizer does not see how libpipewire, which is not instrumented, passes newly mapped memory to
// its real-time thread.
// NOLINTNEXTLINE(bugprone-reserved-identifier)
extern "C" const char* __tsan_default_suppressions();
const char* __tsan_default_suppressions() {  // NOLINT(bugprone-reserved-identifier)
    return "race:pw_memblock_map";
}
