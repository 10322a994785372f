// What the bars of a selection offer, and what choosing it does.
#include "Lumicrate/Overlays/Selection/AreaToolbarModel.h"
#include "Lumicrate/Overlays/Selection/RecordOptionsBar.h"
#include "Tests/Lumicrate/FakePlatform.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace lumicrate::test {
namespace {

using testing::ElementsAre;
using Side = AreaToolbarModel::Side;

/// A heading ends with a colon, what is chosen has a star, what is disabled a dash.
std::vector<std::string> written(const std::vector<MenuItem>& items) {
    std::vector<std::string> lines;
    for (const MenuItem& each : items) {
        lines.push_back(each.title + (each.isHeading ? ":" : ""));
        if (each.checked.value_or(false)) lines.back() += "*";
        if (!each.enabled) lines.back() += "-";
    }
    return lines;
}

TEST(AreaToolbarTests, ATypedSizeIsPassedOnWhenItIsOne) {
    struct {
        const char* typed;
        std::optional<int> passedOn;
    } const cases[] = {
        {"800", 800},
        {" 64 ", 64},
        {"99999999999", 2147483647},
        {"-99999999999", {}},
        {"2147483647", 2147483647},
        {"", {}},
        {"  ", {}},
        {"0", {}},
        {"-5", {}},
        {"1e3", {}},
        {"12.5", {}},
        {"800 px", {}},
    };
    AreaToolbarModel model("Record", {});
    for (const auto& [typed, passedOn] : cases) {
        std::optional<int> width, height;
        model.onSize = [&](auto newWidth, auto newHeight) { width = newWidth, height = newHeight; };
        model.commit(Side::width, typed);
        EXPECT_EQ(width, passedOn) << typed;
        EXPECT_EQ(height, std::nullopt) << typed;
        model.commit(Side::height, typed);
        EXPECT_EQ(height, passedOn) << typed;
    }
}

TEST(AreaToolbarTests, StepsGoFromWhatIsTypedAndNeverBelowOne) {
    struct {
        const char* typed;
        int by;
        int passedOn;
    } const cases[] = {{"800", 1, 801}, {"5", -10, 1}, {"", 10, 650}, {"2147483647", 1, 2147483647}};
    AreaToolbarModel model("Record", {});
    model.height = 640;
    for (const auto& [typed, by, passedOn] : cases) {
        std::optional<int> height;
        model.onSize = [&](auto, auto newHeight) { height = newHeight; };
        model.step(Side::height, typed, by);
        EXPECT_EQ(height, passedOn) << typed;
    }
}

TEST(AreaToolbarTests, AnotherAspectIsSetAndTold) {
    AreaToolbarModel model("Record", {});
    std::vector<AspectPreset> told;
    model.onAspect = [&](AspectPreset preset) {
        EXPECT_EQ(*model.aspect, preset);
        told.push_back(preset);
    };
    EXPECT_THAT(written(model.aspectMenu()), ElementsAre("Custom*", "16:9", "9:16", "4:3", "1:1"));
    model.aspectMenu()[3].action();
    model.aspectMenu()[3].action();
    EXPECT_THAT(told, ElementsAre(AspectPreset::standard));
    EXPECT_THAT(written(model.aspectMenu()), ElementsAre("Custom", "16:9", "9:16", "4:3*", "1:1"));
}

class RecordOptionsBarTests : public testing::Test {
 protected:
    std::vector<std::string> helps() const {
        std::vector<std::string> all;
        for (const auto& each : bar.content->toggles)
            all.push_back(each.help);
        return all;
    }

    struct Registered {
        Registered() { RecordingOptions::registerDefaults(store); }
        FakeDefaults store;
    } registered;
    FakeDefaults& defaults = registered.store;
    std::vector<std::string> complaints;
    RecordOptionsBar bar{
        defaults, {{"usb", "Desk"}, {"card", "Built-in"}}, true, [this](const std::string& sentence) {
            complaints.push_back(sentence);
        }};
};

TEST_F(RecordOptionsBarTests, ShowsWhatWouldBeRecorded) {
    EXPECT_EQ(bar.content->summary, "1080p · 30 fps");
    EXPECT_THAT(helps(), ElementsAre("System audio on", "Microphone off", "Webcam off"));
    defaults.set("quality", std::string("native"));
    defaults.set("fps", std::int64_t{60});
    defaults.set("webcamEnabled", true);
    EXPECT_EQ(bar.content->summary, "Native · 60 fps");
    EXPECT_EQ(bar.content->toggles[2].symbol, "video.fill");
    EXPECT_THAT(RecordOptionsBar::summaries(), testing::Contains(bar.content->summary));
    defaults.set("fps", std::int64_t{31});
    EXPECT_EQ(bar.content->summary, "Native · 30 fps") << "no rate that is offered";
    EXPECT_EQ(RecordOptionsBar(defaults, {}, false, {}).content->toggles.size(), 2U);
}

TEST_F(RecordOptionsBarTests, EveryChoiceIsStoredAndUnderstood) {
    const auto choices = bar.videoMenu();
    EXPECT_THAT(written(choices), ElementsAre("Resolution:", "Native", "1080p*", "720p",
                                              "Frame rate:", "15 fps", "24 fps", "30 fps*", "60 fps"));
    for (std::size_t i = 0; i < choices.size(); ++i) {
        if (choices[i].isHeading) continue;
        choices[i].action();
        EXPECT_EQ(bar.videoMenu()[i].checked, true) << choices[i].title;
        EXPECT_THAT(bar.content->summary, testing::HasSubstr(choices[i].title));
    }
    for (const auto& each : std::vector(bar.content->toggles)) {
        const RecordingOptions before = RecordingOptions::current(defaults);
        bar.toggle(each.key);
        EXPECT_NE(RecordingOptions::current(defaults), before) << each.key;
    }
    EXPECT_THAT(helps(), ElementsAre("System audio off", "Microphone on", "Webcam on"));
}

TEST_F(RecordOptionsBarTests, AMicrophoneThatIsNotThereCountsAsTheDefault) {
    EXPECT_THAT(written(bar.microphoneMenu()),
                ElementsAre("Microphone:", "System Default*", "Desk", "Built-in"));
    bar.microphoneMenu()[3].action();
    EXPECT_EQ(defaults.stringForKey("microphoneID"), "card");
    EXPECT_THAT(written(bar.microphoneMenu()),
                ElementsAre("Microphone:", "System Default", "Desk", "Built-in*"));
    defaults.set("microphoneID", std::string("gone"));
    EXPECT_THAT(written(bar.microphoneMenu()),
                ElementsAre("Microphone:", "System Default*", "Desk", "Built-in"));
    EXPECT_THAT(written(RecordOptionsBar(defaults, {}, true, {}).microphoneMenu()),
                ElementsAre("Microphone:", "No Microphone-"));
}

TEST_F(RecordOptionsBarTests, WhatCannotBeStoredStaysAsItWas) {
    defaults.readOnly = true;
    bar.toggle("captureSystemAudio");
    bar.videoMenu()[1].action();
    EXPECT_THAT(complaints, testing::Each("The preferences can't be written."));
    EXPECT_EQ(complaints.size(), 2U);
    EXPECT_THAT(helps(), ElementsAre("System audio on", "Microphone off", "Webcam off"));
}

}  // namespace
}  // namespace lumicrate::test
