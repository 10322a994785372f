#include "Linux/PipeWire/SoundLosses.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <ostream>

using lumicrate::pipewire::SoundLosses;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;
using Obstacle = SoundLosses::Obstacle;
using namespace std::chrono_literals;

namespace {

struct Course {
    const char* name;
    SoundLosses::Track track;
    std::function<void(SoundLosses&)> events;  ///< after sound from 100 s to 110 s, before its end at 200 s
    std::vector<std::string> told;
};

void PrintTo(const Course& each, std::ostream* out) {
    *out << each.name;
}

const SoundLosses::Track output{};
const SoundLosses::Track anyMicrophone{true, std::nullopt};
const SoundLosses::Track headset{true, "Headset"};

const Course courses[] = {
    {"nothingMissing", output, [](auto& losses) { losses.heard(110s, 200s); }, {}},
    {"lessThanASecond", output, [](auto& losses) { losses.heard(110s + 990ms, 199s + 10ms); }, {}},
    {"outputWasGone",
     output,
     [](auto& losses) {
         losses.setObstacle(Obstacle::noDevice);
         losses.setObstacle(Obstacle::none);
         losses.heard(122s, 200s);
     },
     {"The sound output was missing for 00:12; the system sound is silent there."}},
    {"deviceGoneWithoutAGap",
     output,
     [](auto& losses) {
         losses.setObstacle(Obstacle::noDevice);
         losses.heard(110s, 150s);
         losses.setObstacle(Obstacle::none);
         losses.heard(150s, 200s);
     },
     {}},
    {"serverGoneForGood",
     output,
     [](auto& losses) { losses.setObstacle(Obstacle::noServer); },
     {"The sound server was gone for 01:30; the system sound is silent there."}},
    {"serverBackBeforeItsDevices",
     anyMicrophone,
     [](auto& losses) {
         losses.setObstacle(Obstacle::noServer);
         losses.setObstacle(Obstacle::noDevice);
         losses.setObstacle(Obstacle::none);
         losses.heard(115s, 200s);
     },
     {"The sound server was gone for 00:05; the microphone's sound is silent there."}},
    {"severalReasonsEachWithItsSum",
     anyMicrophone,
     [](auto& losses) {
         losses.setObstacle(Obstacle::noDevice);
         losses.heard(113s, 120s);
         losses.heard(124s, 130s);
         losses.setObstacle(Obstacle::none);
         losses.heard(130s, 140s);
         losses.heard(160s, 200s);
     },
     {"The sound server gave no sound of the microphone for 00:20; the microphone's sound is silent there.",
      "The microphone was missing for 00:07; the microphone's sound is silent there."}},
    {"chosenMicrophoneReplaced",
     headset,
     [](auto& losses) {
         losses.setReplaced(true);
         losses.heard(110s + 500ms, 150s);
         losses.heard(150s, 160s);
         losses.setReplaced(false);
         losses.heard(160s, 200s);
     },
     {"The microphone “Headset” was missing for 00:49; the default one was recorded instead."}},
    {"chosenMicrophoneGoneWithoutAnother",
     headset,
     [](auto& losses) { losses.setObstacle(Obstacle::noDevice); },
     {"The microphone “Headset” was missing for 01:30; the microphone's sound is silent there."}},
};

class SoundLossesTests : public testing::TestWithParam<Course> {};

}  // namespace

TEST_P(SoundLossesTests, areTold) {
    const Course& course = GetParam();
    SoundLosses losses(course.track);
    losses.expectFrom(100s);
    losses.heard(100s, 110s);
    course.events(losses);
    losses.finish(200s);
    EXPECT_THAT(losses.sentences(), ElementsAreArray(course.told));
}

INSTANTIATE_TEST_SUITE_P(, SoundLossesTests, testing::ValuesIn(courses),
                         [](const auto& each) { return std::string(each.param.name); });

TEST(SoundLosses, countFromWhenSoundIsExpected) {
    SoundLosses early(output);
    early.heard(90s, 91s);
    early.expectFrom(100s);
    early.heard(100s + 500ms, 110s);
    early.finish(110s);
    EXPECT_THAT(early.sentences(), IsEmpty());

    SoundLosses late(output);
    late.expectFrom(100s);
    late.finish(103s);
    EXPECT_THAT(late.sentences(),
                ElementsAre("The sound server gave no system sound for 00:03; the system sound is silent "
                            "there."));
}
