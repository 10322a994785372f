// A recording that sound devices and the sound server leave and come back to.

#include "Tests/App/Recording.h"
#include "Tests/Linux/TemporaryFolder.h"
#include "Tests/Stage/Measure.h"
#include "Tests/Stage/MovieProbe.h"
#include "Tests/Stage/PrivateDesktop.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <span>
#include <stdexcept>
#include <thread>

namespace lumicrate::test {
namespace {

using stage::MovieProbe;
using testing::MatchesRegex;
using testing::UnorderedElementsAre;

/// So long that it is worth a sentence.
void pass() {
    std::this_thread::sleep_for(std::chrono::milliseconds(1200));
}

/// The program hears output and microphone, since a moment.
void awaitSound() {
    for (int i = 0; i < 1000; ++i) {
        // Lists those inputs only that are linked to something.
        const std::string linked = stage::runProgram({"pw-link", "-l", "-i"});
        if (linked.find("lumicrate-system-sound:") != std::string::npos &&
            linked.find("lumicrate-microphone:") != std::string::npos)
            return std::this_thread::sleep_for(std::chrono::milliseconds(300));
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    throw std::runtime_error("The program does not hear anything");
}

TEST(SoundEventTests, ARecordingOutlivesThemAllAndTellsOfThem) {
    stage::PrivateDesktop desktop;
    stage::SoundServer& server = desktop.sound();
    const TemporaryFolder folder;
    const std::filesystem::path file = folder / "movie.mp4";
    const RunningScene scene({"moving"});
    Program program(recordArguments(file, {"--screen", "--system-audio", "--microphone=mic"}));
    awaitGrowth(file);

    // All outputs go, and with them the microphone, which is made from one.
    server.pactl({"unload-module", "module-always-sink"});
    server.unloadModule(server.microphone().source);
    server.unloadModule(server.microphone().feed);
    server.unloadModule(server.speaker());
    pass();
    server.addSpeaker("spk", "Speaker");
    const auto microphone = server.addMicrophone("mic", "Microphone");
    awaitSound();
    // The microphone goes, and another is there.
    server.addMicrophone("other", "Other microphone");
    server.unloadModule(microphone.source);
    pass();
    server.loadModule("module-remap-source", {"master=micfeed.monitor", "source_name=mic"});
    awaitSound();
    // The server goes.
    server.kill();
    pass();
    server.revive();
    awaitSound();

    const RunningScene flashes({"flash"});
    std::this_thread::sleep_for(std::chrono::milliseconds(1500));
    program.process().signal(SIGINT);
    const Outcome outcome = program.end();
    EXPECT_EQ(outcome.status, 0);
    const auto told = [](const std::string& what, const std::string& ending) {
        return MatchesRegex(".*" + what + " for 00:0[1-9]; the " + ending);
    };
    const std::string silentSystem = "system sound is silent there.";
    const std::string silentMicrophone = "microphone's sound is silent there.";
    EXPECT_THAT(sentences(outcome),
                UnorderedElementsAre(
                    told("The sound output was missing", silentSystem),
                    told("The microphone “Microphone” was missing", silentMicrophone),
                    told("The microphone “Microphone” was missing", "default one was recorded instead."),
                    told("The sound server was gone", silentSystem),
                    told("The sound server was gone", silentMicrophone)));

    MovieProbe movie(file);
    EXPECT_TRUE(movie.indexInFront());
    EXPECT_EQ(movie.pictureTimes().size(), static_cast<std::size_t>(movie.videoTrack().sampleCount));
    for (const std::size_t track : {0U, 1U}) {
        const stage::Sound sound = movie.sound(track);
        EXPECT_EQ(sound.discontinuities, 0);
        EXPECT_NEAR(sound.duration(), movie.videoTrack().duration, 0.05);
    }
    const stage::Sound sound = movie.sound(0);
    EXPECT_GT(stage::loudness(std::span(sound.samples[0]).last(48000 * 3 / 2)), 0.01);
}

}  // namespace
}  // namespace lumicrate::test
