#include "Linux/PipeWire/AudioGapReport.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>

namespace lumicrate::pipewire {
namespace {

using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;
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
        {"no gap", output, {sound(110s, 200s)}, {}},
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
    AudioGapReport early({});
    early.addSound(90s, 91s);
    early.expectFrom(100s);
    early.addSound(100s + 500ms, 110s);
    early.finish(110s);
    EXPECT_THAT(early.sentences(), IsEmpty());

    AudioGapReport late({});
    late.expectFrom(100s);
    late.finish(103s);
    EXPECT_THAT(late.sentences(), ElementsAre("The sound server gave no system sound for 00:03; the system "
                                              "sound is silent there."));
}

}  // namespace
}  // namespace lumicrate::pipewire
