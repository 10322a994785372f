// SPDX-License-Identifier: GPL-3.0-or-later
// What is reported of missing sound, what follows from the server's nodes, and smoothed timestamps.
#include "Linux/PipeWire/AudioGapReport.h"
#include "Linux/PipeWire/GraphWatch.h"
#include "Linux/PipeWire/PlaybackGraph.h"
#include "Linux/PipeWire/ProcessTree.h"
#include "Linux/PipeWire/SoundSplice.h"
#include "Linux/PipeWire/TimestampSmoother.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <functional>
#include <random>

namespace lumicrate::pipewire {
namespace {

using std::chrono::nanoseconds;
using testing::ElementsAre;
using testing::ElementsAreArray;
using Cause = AudioGapReport::Cause;
using namespace std::chrono_literals;

TEST(AudioGapReportTests, EachCauseIsReportedWithItsTotalTime) {
    const AudioGapReport::Track output{};
    const AudioGapReport::Track anyMicrophone{true, std::nullopt};
    const AudioGapReport::Track headset{true, "Headset"};
    using Step = std::function<void(AudioGapReport&)>;
    const auto sound = [](std::chrono::milliseconds from, std::chrono::milliseconds until) -> Step {
        return [=](AudioGapReport& gaps) { gaps.addSound(from, until); };
    };
    const auto replaced = [](bool is) -> Step { return [=](AudioGapReport& gaps) { gaps.setReplaced(is); }; };
    const auto cause = [](Cause is) -> Step { return [=](AudioGapReport& gaps) { gaps.setCause(is); }; };
    const Step noDevice = cause(Cause::noDevice);
    const Step noServer = cause(Cause::noServer);
    const Step none = cause(Cause::none);
    const struct {
        const char* name;
        AudioGapReport::Track track;
        std::vector<Step> steps;  // after sound from 100 s to 110 s, before the end at 200 s
        std::vector<std::string> sentences;
    } cases[] = {
        {"under a second", output, {sound(110s + 990ms, 199s + 10ms)}, {}},
        {"output disconnected",
         output,
         {noDevice, none, sound(122s, 200s)},
         {"The sound output was missing for 00:12; the system sound is silent there."}},
        {"device disconnected without a gap",
         output,
         {noDevice, sound(110s, 150s), none, sound(150s, 200s)},
         {}},
        {"server lost for good",
         output,
         {noServer},
         {"The sound server was gone for 01:30; the system sound is silent there."}},
        {"server back before its devices",
         anyMicrophone,
         {noServer, noDevice, none, sound(115s, 200s)},
         {"The sound server was gone for 00:05; the microphone's sound is silent there."}},
        {"several causes, each with its sum",
         anyMicrophone,
         {noDevice, sound(113s, 120s), sound(124s, 130s), none, sound(130s, 140s), sound(160s, 200s)},
         {"The sound server gave no sound of the microphone for 00:20; the microphone's sound is silent "
          "there.",
          "The microphone was missing for 00:07; the microphone's sound is silent there."}},
        {"chosen microphone replaced",
         headset,
         {replaced(true), sound(110s + 500ms, 150s), sound(150s, 160s), replaced(false), sound(160s, 200s)},
         {"The microphone “Headset” was missing for 00:49; the default one was recorded instead."}},
        {"chosen microphone disconnected, no other",
         headset,
         {noDevice},
         {"The microphone “Headset” was missing for 01:30; the microphone's sound is silent there."}},
    };
    for (const auto& each : cases) {
        AudioGapReport gaps(each.track);
        gaps.expectFrom(100s);
        gaps.addSound(100s, 110s);
        for (const Step& step : each.steps)
            step(gaps);
        gaps.finish(200s);
        EXPECT_THAT(gaps.sentences(), ElementsAreArray(each.sentences)) << each.name;
    }
}

TEST(AudioGapReportTests, GapsCountFromWhenSoundIsExpected) {
    AudioGapReport gaps({});
    gaps.addSound(90s, 91s);
    gaps.expectFrom(100s);
    gaps.finish(103s);
    EXPECT_THAT(gaps.sentences(), ElementsAre("The sound server gave no system sound for 00:03; the system "
                                              "sound is silent there."));
}

TEST(GraphTests, RolesFollowFromMediaClasses) {
    const std::pair<const char*, NodeRole> cases[] = {
        {"Audio/Source", {.isMicrophone = true}},
        {"Audio/Source/Virtual", {.isMicrophone = true}},
        {"Audio/Duplex", {.isMicrophone = true, .isOutput = true}},
        {"Audio/Sink", {.isOutput = true}},
        {"Video/Source", {.isCamera = true}},
        {"Stream/Input/Audio", {}},
        {"Audio/Source/Internal", {}},
        {"", {}},
    };
    for (const auto& [mediaClass, role] : cases)
        EXPECT_EQ(roleOf(mediaClass), role) << mediaClass;
}

TEST(GraphTests, MetadataContainsTheDefaultDevice) {
    const std::pair<const char*, std::optional<std::string>> cases[] = {
        {R"({"name":"spk"})", "spk"},
        {R"({ "name": "alsa_output.pci-0000_00_1f.3.analog-stereo" })",
         "alsa_output.pci-0000_00_1f.3.analog-stereo"},
        {R"({"id":7,"more":{"name":"inner"},"name":"outer"})", "outer"},
        {R"({"name":"a \"quoted\" name"})", "a \"quoted\" name"},
        {R"({"name":42})", std::nullopt},
        {R"({"other":"spk"})", std::nullopt},
        {R"({"name":)", std::nullopt},
        {"spk", std::nullopt},
        {"", std::nullopt},
    };
    for (const auto& [metadata, name] : cases)
        EXPECT_EQ(defaultNameFrom(metadata), name) << metadata;
}

TEST(GraphTests, TheDefaultIsFirstAndTheOthersAreSortedByName) {
    const CaptureDevice zebra{"z", "Zebra"}, apple{"a", "Apple"}, appleToo{"b", "Apple"},
        middle{"m", "Middle"};
    std::vector<CaptureDevice> devices{zebra, appleToo, middle, apple};
    sortDevices(devices, "m");
    EXPECT_EQ(devices, (std::vector{middle, apple, appleToo, zebra}));
    sortDevices(devices, "gone");
    EXPECT_EQ(devices, (std::vector{apple, appleToo, middle, zebra}));
}

TEST(PlaybackGraphTests, LinksRepeatThoseToOutputs) {
    PlaybackGraph graph;
    // A recorder with two inputs, and a device with six.
    graph.nodes = {
        {1, {}}, {2, {std::nullopt, true}}, {3, {std::nullopt, true}}, {4, {7, false}}, {5, {8, false}}};
    graph.ports = {
        {11, {1, true, "FL"}}, {12, {1, true, "FR"}}, {41, {4, false, "FL"}}, {51, {5, false, ""}}};
    const char* channels[] = {"FL", "FR", "FC", "LFE", "RL", "SR", "MONO", "AUX0", "AUX13", "RC", ""};
    const std::vector<PlaybackGraph::Number> expected[] = {{11},     {12}, {11, 12}, {},       {11},    {12},
                                                           {11, 12}, {11}, {12},     {11, 12}, {11, 12}};
    for (std::size_t i = 0; i < std::size(channels); ++i) {
        graph.ports[20] = {2, true, channels[i]};
        // Two devices: a channel that both play is recorded once.
        graph.ports[30] = graph.ports[20];
        graph.ports[30].node = 3;
        graph.links = {{60, {41, 20}}, {61, {41, 30}}, {62, {51, 20}}, {63, {41, 11}}};
        std::set<PlaybackGraph::Link> links;
        for (const auto input : expected[i])
            links.insert({41, input});
        const auto isWanted = [](const PlaybackGraph::Node& node) { return node.client == 7U; };
        EXPECT_EQ(recordingLinks(graph, 1, std::nullopt, isWanted), links) << channels[i];
        EXPECT_EQ(recordingLinks(graph, 1, 3, isWanted), links) << channels[i];
        EXPECT_TRUE(recordingLinks(graph, 1, 4, isWanted).empty()) << "plays elsewhere";
    }
}

TEST(ProcessTreeTests, OnlyDescendantsBelongToAProgram) {
    // A manager of the session (1 and 10) that started a player with a helper (20, 21, 22), and another (30).
    const std::map<std::int32_t, std::int32_t> parents = {{10, 1}, {20, 10}, {21, 20}, {22, 21}, {30, 10}};
    const auto parentOf = [&](std::int32_t process) -> std::optional<std::int32_t> {
        const auto found = parents.find(process);
        return found == parents.end() ? std::nullopt : std::optional(found->second);
    };
    for (const auto& [process, expected] :
         {std::pair{20, true}, {21, true}, {22, true}, {30, false}, {10, false}, {1, false}, {99, false}})
        EXPECT_EQ(isInProcessTree(process, 20, parentOf), expected) << process;
    EXPECT_FALSE(isInProcessTree(20, 1, parentOf)) << "everything descends from it";
    EXPECT_FALSE(isInProcessTree(5, 6, [](std::int32_t process) { return std::optional(process ^ 1); }));
}

constexpr int rate = 48000;
constexpr std::int64_t frames = 1024;
constexpr nanoseconds start = 5'000s;

nanoseconds length(double drift = 0) {
    return nanoseconds(std::llround(frames * 1e9 / rate * (1 + drift)));
}

/// After a hundred buffers that were reported exactly; `time` is when the next one is due.
struct Settled {
    Settled() {
        for (int i = 0; i < 100; ++i, time += length())
            EXPECT_TRUE(smoother.stamp(time, frames));
    }
    TimestampSmoother smoother{rate};
    nanoseconds time = start;
};

TEST(TimestampSmootherTests, ForAnHourTimestampsStayExactAndContiguous) {
    const struct {
        double drift;      // of the device's clock
        double jitter;     // seconds, in both directions
        double lateShare;  // of reports that are a whole buffer late
        double allowed;    // deviation in seconds once the loop has settled
    } cases[] = {
        {0, 0, 0, 2e-6},
        {-500e-6, 0, 0, 20e-6},
        {500e-6, 0, 0, 20e-6},
        {0, 0.002, 0, 1e-3},
        {500e-6, 0.002, 0, 1e-3},
        {-500e-6, 0.002, 0, 1e-3},
        {100e-6, 0.0002, 0.005, 2e-3},
    };
    for (const auto& [drift, jitter, lateShare, allowed] : cases) {
        SCOPED_TRACE(testing::Message() << drift << " " << jitter << " " << lateShare);
        std::mt19937 random(7);
        std::uniform_real_distribution<double> noise(-jitter, jitter);
        std::bernoulli_distribution late(lateShare);
        TimestampSmoother smoother(rate);
        const double nominal = length().count() / 1e9;
        nanoseconds previous{};
        for (int i = 0; i < 3600 * rate / frames; ++i) {
            const nanoseconds truth = start + i * length(drift);
            // The first report is the origin; a late one there is another case.
            const nanoseconds delay = i > 0 && late(random) ? length(drift) : 0ns;
            const nanoseconds reported = truth + delay + nanoseconds(std::llround(noise(random) * 1e9));
            const nanoseconds stamp = smoother.stamp(reported, frames).value();
            const double deviation = std::abs(static_cast<double>((stamp - truth).count())) / 1e9;
            // Without jitter, never a millisecond off; with it, only once the loop has settled.
            const bool isSettled = i > 20 * rate / frames;
            if (isSettled || jitter == 0) {
                ASSERT_LT(deviation, isSettled ? allowed : 1e-3) << "buffer " << i;
            }
            if (i > 0) {
                ASSERT_NEAR((stamp - previous).count() / 1e9, nominal, 0.005 * nominal + 2e-9);
            }
            previous = stamp;
        }
    }
}

TEST(TimestampSmootherTests, AWrongFirstReportIsCorrected) {
    const struct {
        nanoseconds late;
        int dropped;    // buffers
        int corrected;  // after so many buffers
    } cases[] = {{4ms, 0, 10 * rate / frames}, {20ms, 1, 2}, {-20ms, 0, 10 * rate / frames}};
    for (const auto& [late, dropped, corrected] : cases) {
        SCOPED_TRACE(late.count());
        TimestampSmoother smoother(rate);
        smoother.stamp(start + late, frames);
        for (int i = 1; i < 11 * rate / frames; ++i) {
            const nanoseconds truth = start + i * length();
            const auto stamp = smoother.stamp(truth, frames);
            EXPECT_EQ(stamp.has_value(), i > dropped);
            if (i >= corrected) {
                EXPECT_LT(std::chrono::abs(*stamp - truth), 1ms);
            }
        }
    }
}

TEST(TimestampSmootherTests, GapsAreKeptWhenTheyAreLongOrAnnounced) {
    for (const auto& [gap, announced] : {std::pair{300ms, false}, std::pair{21ms, true}}) {
        Settled after;
        after.time += gap;
        if (announced) after.smoother.noteJump();
        EXPECT_EQ(after.smoother.stamp(after.time, frames).value(), after.time);
        after.time += length();
        EXPECT_EQ(after.smoother.stamp(after.time, frames).value(), after.time);
    }
}

TEST(TimestampSmootherTests, AJumpBackDropsWhatWasStampedBefore) {
    Settled after;
    auto& [smoother, time] = after;
    const nanoseconds stampedUntil = time;
    time -= 200ms;
    int dropped = 0;
    std::optional<nanoseconds> next;
    for (; !(next = smoother.stamp(time, frames)); time += length())
        ++dropped;
    EXPECT_EQ(dropped, 10);  // 200 ms in buffers of 21.3 ms, rounded up
    EXPECT_GE(*next, stampedUntil - 100us);
    EXPECT_LE(std::chrono::abs(*next - time), 10ns);
}

TEST(SoundSpliceTests, TracksAreChangedAtTheTimeWhicheverIsLate) {
    // Frame n of both tracks has the value n; those of the second one are negative.
    const auto piece = [](SoundSplice::Track track, int first) {
        std::vector<float> values(static_cast<std::size_t>(frames));
        for (int i = 0; i < frames; ++i)
            values[static_cast<std::size_t>(i)] =
                static_cast<float>(track == SoundSplice::Track::first ? first + i : -first - i);
        CMSampleBuffer sample;
        sample.timing.presentationTimeStamp = CMTime(first, rate);
        sample.audio = std::make_shared<AudioBufferList>();
        const auto* bytes = reinterpret_cast<const std::byte*>(values.data());
        sample.audio->buffers.emplace_back(bytes, bytes + values.size() * sizeof(float));
        return sample;
    };
    const auto timeOf = [](double frame) { return nanoseconds(std::llround(frame * 1e9 / rate)); };
    using enum SoundSplice::Track;
    // How many pieces the second track is late, and by how many frames its pieces begin later.
    for (const auto& [late, shift] : {std::pair{0, 0}, {-1, 0}, {1, 0}, {-2, 300}, {2, 300}, {3, 1023}}) {
        std::vector<float> delivered;
        SoundSplice splice(rate, sizeof(float), [&](const CMSampleBuffer& sample) {
            const auto& bytes = sample.audio->buffers[0];
            const double stamp = sample.presentationTimeStamp().seconds() * rate;
            EXPECT_NEAR(stamp, static_cast<double>(delivered.size()), 0.5);
            const std::size_t before = delivered.size();
            delivered.resize(before + bytes.size() / sizeof(float));
            std::memcpy(delivered.data() + before, bytes.data(), bytes.size());
        });
        for (int i = 0; i < 30; ++i) {
            if (i == 5) splice.use(second, timeOf(7700.2));
            if (i == 15) splice.use(first, timeOf(17800));
            splice.add(first, piece(first, i * static_cast<int>(frames)));
            const int begin = (i - late) * static_cast<int>(frames) + shift;
            if (begin >= 0) splice.add(second, piece(second, begin));
        }
        for (std::size_t i = 0; i < delivered.size(); ++i) {
            const bool ofSecond = i >= 7700 && i < 17800;
            ASSERT_EQ(delivered[i], static_cast<float>(i) * (ofSecond ? -1.F : 1.F)) << late << " " << shift;
        }
        EXPECT_EQ(delivered.size(), 30 * frames);
    }
}

TEST(SoundSpliceTests, AStalledTrackIsReplacedAllTheSame) {
    std::vector<nanoseconds> delivered;
    SoundSplice splice(rate, sizeof(float), [&](const CMSampleBuffer& sample) {
        delivered.emplace_back(sample.presentationTimeStamp().converted(1'000'000'000));
    });
    splice.use(SoundSplice::Track::second, 1s);
    for (auto time = 900ms; time < 2s; time += 10ms) {
        CMSampleBuffer sample;
        sample.timing.presentationTimeStamp = CMTime::from(time);
        sample.audio = std::make_shared<AudioBufferList>();
        sample.audio->buffers.emplace_back(480 * sizeof(float));
        splice.add(SoundSplice::Track::second, sample);
    }
    EXPECT_THAT(delivered, testing::SizeIs(100));
    EXPECT_EQ(delivered.front(), 1s);
}

TEST(TimestampSmootherTests, BuffersMayHaveAnyLength) {
    TimestampSmoother smoother(rate);
    nanoseconds time = start;
    for (const std::int64_t each : {1024L, 1L, 333L, 4096L, 48000L, 240L}) {
        EXPECT_LE(std::chrono::abs(smoother.stamp(time, each).value() - time), 2ns) << each;
        time += nanoseconds(each * 1'000'000'000 / rate);
    }
    EXPECT_FALSE(smoother.stamp(time, 0).has_value());
}

}  // namespace
}  // namespace lumicrate::pipewire
