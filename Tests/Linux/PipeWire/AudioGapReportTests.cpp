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
    const struct {
        const char* name;
        AudioGapReport::Track track;
        std::function<void(AudioGapReport&)>
            events;  // after sound from 100 s to 110 s, before the end at 200 s
        std::vector<std::string> sentences;
    } cases[] = {
        {"no gap", output, [](auto& gaps) { gaps.addSound(110s, 200s); }, {}},
        {"under a second", output, [](auto& gaps) { gaps.addSound(110s + 990ms, 199s + 10ms); }, {}},
        {"output disconnected",
         output,
         [](auto& gaps) {
             gaps.setCause(Cause::noDevice);
             gaps.setCause(Cause::none);
             gaps.addSound(122s, 200s);
         },
         {"The sound output was missing for 00:12; the system sound is silent there."}},
        {"device disconnected without a gap",
         output,
         [](auto& gaps) {
             gaps.setCause(Cause::noDevice);
             gaps.addSound(110s, 150s);
             gaps.setCause(Cause::none);
             gaps.addSound(150s, 200s);
         },
         {}},
        {"server lost for good",
         output,
         [](auto& gaps) { gaps.setCause(Cause::noServer); },
         {"The sound server was gone for 01:30; the system sound is silent there."}},
        {"server back before its devices",
         anyMicrophone,
         [](auto& gaps) {
             gaps.setCause(Cause::noServer);
             gaps.setCause(Cause::noDevice);
             gaps.setCause(Cause::none);
             gaps.addSound(115s, 200s);
         },
         {"The sound server was gone for 00:05; the microphone's sound is silent there."}},
        {"several causes, each with its sum",
         anyMicrophone,
         [](auto& gaps) {
             gaps.setCause(Cause::noDevice);
             gaps.addSound(113s, 120s);
             gaps.addSound(124s, 130s);
             gaps.setCause(Cause::none);
             gaps.addSound(130s, 140s);
             gaps.addSound(160s, 200s);
         },
         {"The sound server gave no sound of the microphone for 00:20; the microphone's sound is silent "
          "there.",
          "The microphone was missing for 00:07; the microphone's sound is silent there."}},
        {"chosen microphone replaced",
         headset,
         [](auto& gaps) {
             gaps.setReplaced(true);
             gaps.addSound(110s + 500ms, 150s);
             gaps.addSound(150s, 160s);
             gaps.setReplaced(false);
             gaps.addSound(160s, 200s);
         },
         {"The microphone “Headset” was missing for 00:49; the default one was recorded instead."}},
        {"chosen microphone disconnected, no other",
         headset,
         [](auto& gaps) { gaps.setCause(Cause::noDevice); },
         {"The microphone “Headset” was missing for 01:30; the microphone's sound is silent there."}},
    };
    for (const auto& each : cases) {
        AudioGapReport gaps(each.track);
        gaps.expectFrom(100s);
        gaps.addSound(100s, 110s);
        each.events(gaps);
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
