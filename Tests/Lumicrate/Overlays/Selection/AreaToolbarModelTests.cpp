// SPDX-License-Identifier: GPL-3.0-or-later
// AreaToolbarModel and RecordOptionsBar: what the bars of a selection offer, and what their controls do.
#include "Lumicrate/Overlays/Selection/AreaToolbarModel.h"
#include "Lumicrate/Overlays/Selection/RecordOptionsBar.h"
#include "Tests/Lumicrate/FakePlatform.h"

namespace lumicrate::test {
namespace {

using Side = AreaToolbarModel::Side;

/// One text per item: a heading ends with a colon, the checked item with a star, a disabled one with a dash.
std::vector<std::string> written(const std::vector<MenuItem>& items) {
    std::vector<std::string> lines;
    for (const MenuItem& each : items) {
        lines.push_back(each.title + (each.isHeading ? ":" : ""));
        if (each.checked.value_or(false)) lines.back() += "*";
        if (!each.enabled) lines.back() += "-";
    }
    return lines;
}

TEST(AreaToolbarTests, SizesAreTypedOrStepped) {
    using Request = std::pair<std::optional<int>, std::optional<int>>;
    constexpr int largest = std::numeric_limits<int>::max();
    AreaToolbarModel model("Record", {});
    model.height = 640;
    Request requested;
    model.onSize = [&](auto width, auto height) { requested = {width, height}; };
    const auto request = [&](Side side, const char* typed) {
        requested = {};
        model.commit(side, typed);
        return requested;
    };
    for (const auto& [typed, number] :
         {std::pair("800", 800), {" 64 ", 64}, {"2147483647", largest}, {"99999999999", largest}}) {
        EXPECT_EQ(request(Side::width, typed), Request(number, std::nullopt)) << typed;
        EXPECT_EQ(request(Side::height, typed), Request(std::nullopt, number)) << typed;
    }
    for (const char* typed : {"", "  ", "0", "-5", "-99999999999", "1e3", "12.5", "800 px"})
        for (const Side side : {Side::width, Side::height})
            EXPECT_EQ(request(side, typed), Request()) << typed;
    const struct {
        const char* typed;
        int by, requested;
    } steps[] = {{"800", 1, 801}, {"5", -10, 1}, {"", 10, 650}, {"2147483647", 1, largest}};
    for (const auto& each : steps) {
        model.step(Side::height, each.typed, each.by);
        EXPECT_EQ(requested.second, each.requested) << each.typed;
    }
}

TEST(AreaToolbarTests, AnotherAspectIsSetAndReportedOnce) {
    AreaToolbarModel model("Record", {});
    std::vector<AspectPreset> reported;
    model.onAspect = [&](AspectPreset) { reported.push_back(*model.aspect); };
    EXPECT_THAT(written(model.aspectMenu()), ElementsAre("Custom*", "16:9", "9:16", "4:3", "1:1"));
    model.aspectMenu()[3].action();
    model.aspectMenu()[3].action();
    EXPECT_THAT(reported, ElementsAre(AspectPreset::standard));
    EXPECT_THAT(written(model.aspectMenu()), ElementsAre("Custom", "16:9", "9:16", "4:3*", "1:1"));
}

class RecordOptionsBarTests : public testing::Test {
 protected:
    RecordOptionsBarTests() {
        RecordingOptions::registerDefaults(defaults);
        bar.emplace(defaults, microphones, true, [this](const auto& text) { complaints.push_back(text); });
    }
    std::vector<std::string> helps() const {
        std::vector<std::string> all;
        for (const auto& each : bar->content->toggles)
            all.push_back(each.help);
        return all;
    }

    const std::vector<CaptureDevice> microphones{{"usb", "Desk"}, {"card", "Built-in"}};
    FakeDefaults defaults;
    std::vector<std::string> complaints;
    std::optional<RecordOptionsBar> bar;
};

TEST_F(RecordOptionsBarTests, FollowsThePreferences) {
    EXPECT_EQ(bar->content->summary, "1080p · 30 fps");
    EXPECT_THAT(helps(), ElementsAre("System audio on", "Microphone off", "Webcam off"));
    defaults.set("quality", std::string("native"));
    defaults.set("fps", std::int64_t{60});
    defaults.set("webcamEnabled", true);
    EXPECT_EQ(bar->content->summary, "Native · 60 fps");
    EXPECT_EQ(bar->content->toggles[2].symbol, "video.fill");
    EXPECT_THAT(RecordOptionsBar::summaries(), testing::Contains(bar->content->summary));
    defaults.set("fps", std::int64_t{31});
    EXPECT_EQ(bar->content->summary, "Native · 30 fps") << "31 is not offered";
    EXPECT_EQ(RecordOptionsBar(defaults, {}, false, {}).content->toggles.size(), 2U);
}

TEST_F(RecordOptionsBarTests, EveryChoiceIsStoredAndShown) {
    const auto choices = bar->videoMenu();
    EXPECT_THAT(written(choices), ElementsAre("Resolution:", "Native", "1080p*", "720p",
                                              "Frame rate:", "15 fps", "24 fps", "30 fps*", "60 fps"));
    for (std::size_t i = 0; i < choices.size(); ++i) {
        if (choices[i].isHeading) continue;
        choices[i].action();
        EXPECT_EQ(bar->videoMenu()[i].checked, true) << choices[i].title;
        EXPECT_THAT(bar->content->summary, testing::HasSubstr(choices[i].title));
    }
    for (const auto& each : std::vector(bar->content->toggles)) {
        const RecordingOptions before = RecordingOptions::current(defaults);
        bar->toggle(each.key);
        EXPECT_NE(RecordingOptions::current(defaults), before) << each.key;
    }
    EXPECT_THAT(helps(), ElementsAre("System audio off", "Microphone on", "Webcam on"));
}

TEST_F(RecordOptionsBarTests, MissingMicrophoneCountsAsTheDefault) {
    const auto withDefault = ElementsAre("Microphone:", "System Default*", "Desk", "Built-in");
    EXPECT_THAT(written(bar->microphoneMenu()), withDefault);
    bar->microphoneMenu()[3].action();
    EXPECT_EQ(defaults.stringForKey("microphoneID"), "card");
    EXPECT_TRUE(*bar->microphoneMenu()[3].checked);
    defaults.set("microphoneID", std::string("gone"));
    EXPECT_THAT(written(bar->microphoneMenu()), withDefault);
    EXPECT_THAT(written(RecordOptionsBar(defaults, {}, true, {}).microphoneMenu()),
                ElementsAre("Microphone:", "No Microphone-"));
}

TEST_F(RecordOptionsBarTests, FailedStoreChangesNothing) {
    defaults.readOnly = true;
    bar->toggle("captureSystemAudio");
    bar->videoMenu()[1].action();
    EXPECT_THAT(complaints, std::vector<std::string>(2, "The preferences can't be written."));
    EXPECT_THAT(helps(), ElementsAre("System audio on", "Microphone off", "Webcam off"));
}

}  // namespace
}  // namespace lumicrate::test
