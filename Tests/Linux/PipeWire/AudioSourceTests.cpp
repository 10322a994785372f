#include "Linux/PipeWire/AudioSource.h"
#include "Tests/Linux/PipeWire/SoundStage.h"
#include "Tests/Stage/SoundServer.h"

#include <gtest/gtest.h>

namespace lumicrate::test {
namespace {

using pipewire::AudioSource;
using std::chrono::nanoseconds;
using namespace std::chrono_literals;

/// The distance of two buffers' timestamps is the length within 0.5 %. Where the machine was too busy to keep
/// up, sound is missing and shows as a gap; that must be rare and never look like anything else.
void expectContiguous(const Take& take) {
    const auto& buffers = take.buffers;
    std::size_t gaps = 0;
    for (std::size_t i = 1; i < buffers.size(); ++i) {
        const double length = static_cast<double>(buffers[i - 1].frames) / 48000;
        const double step = std::chrono::duration<double>(buffers[i].stamp - buffers[i - 1].stamp).count();
        const bool isGap = step > length + 0.009;
        gaps += isGap ? 1 : 0;
        EXPECT_TRUE(isGap || std::abs(step - length) < 0.005 * length + 1e-6)
            << "buffer " << i << " of " << buffers.size() << " follows after " << step << " s";
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
        const std::vector<Tone> tones = playAndMeasure(player, source);
        ASSERT_EQ(tones.size(), amplitudes.size()) << playedOn;
        for (std::size_t channel = 0; channel < tones.size(); ++channel) {
            EXPECT_NEAR(tones[channel].frequency, 1000, 1) << playedOn;
            EXPECT_NEAR(tones[channel].amplitude, amplitudes[channel], 0.01) << playedOn;
            EXPECT_NEAR(tones[channel].onset, 0, 10) << playedOn;
        }
        source.stop();
        EXPECT_TRUE(source.take().wellFormed);
        EXPECT_FALSE(source.failed());
        expectContiguous(source.take());
    }
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
    Running source(AudioSource::systemSound());
    for (const std::string recorded : {"equalizer", "spk"}) {
        // One of the two drives the cycles of both, so that both cases occur whichever the server picks.
        const std::string other = recorded == "spk" ? "equalizer" : "spk";
        server->setDefaultSink(recorded);
        stage::runProgram({"pw-link", recorded + ":monitor_FL", other + ":playback_FL"});
        Player player(recorded);
        player.beginTone(1500, 0.5);
        EXPECT_TRUE(source.awaitTone(1500));
        player.endTone();
        EXPECT_NEAR(playAndMeasure(player, source).front().onset, 0, 10) << recorded;
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

}  // namespace
}  // namespace lumicrate::test

// The thread sanitizer does not see how libpipewire, which is not instrumented, passes newly mapped memory to
// its real-time thread.
// NOLINTNEXTLINE(bugprone-reserved-identifier)
extern "C" const char* __tsan_default_suppressions();
const char* __tsan_default_suppressions() {  // NOLINT(bugprone-reserved-identifier)
    return "race:pw_memblock_map";
}
