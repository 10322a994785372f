// SPDX-License-Identifier: GPL-3.0-or-later
// ScreenChooser: the choice of a screen, without widgets.
#include "Lumicrate/Overlays/Selection/ScreenChooser.h"
#include "Tests/Lumicrate/Recording/RecorderFixture.h"

namespace lumicrate::test {
namespace {

const NSScreen main{1, {0, 0, 1280, 720}, {}, 2, "main"};
const NSScreen unknown{std::nullopt, {0, -600, 800, 600}, {}, 2, "cannot be recorded"};
const NSScreen right{7, {1280, 120, 683, 384}, {}, 2, "right"};

class ScreenChooserTests : public RecorderFixture {
 protected:
    using Chosen = std::optional<std::uint32_t>;

    ScreenChooserTests() {
        screens.all = {main, unknown, right};
        pictures.pictures[1] = {1, 1, {1, 2, 3}};
    }
    void choose() {
        choosing = RunningTask(executor, awaitChoice());
        executor.drain();
    }
    Task<void> awaitChoice() {
        Task<Chosen> choice = chooser.choose();
        const Chosen result = co_await choice;
        panelsLeft = contents.shownPanels();
        results.push_back(result);
    }
    void expectEnd(const Chosen& result) {
        executor.drain();
        EXPECT_THAT(results, testing::ElementsAre(result));
        EXPECT_EQ(panelsLeft, 0U) << "when the caller continued";
        EXPECT_EQ(contents.shownPanels(), 0U);
        EXPECT_EQ(keyMonitoring.monitors, 0);
        results.clear();
    }

    FakeDisplayPictures pictures{contents};
    ScreenChooser chooser{executor, screens, pictures, keyMonitoring, contents};
    RunningTask choosing;
    std::vector<Chosen> results;
    std::size_t panelsLeft = 0;
};

TEST_F(ScreenChooserTests, EachScreenThatCanBeRecordedHasAPanel) {
    screens.pointer = {1300, 200};
    choose();
    ASSERT_EQ(contents.shownPanels(), 2U);
    for (const bool isRight : {false, true}) {
        const ScreenChoice& model = *contents.screenChoices[isRight];
        EXPECT_EQ(model.number, isRight ? 2 : 1);
        EXPECT_EQ(model.name, isRight ? "right" : "main");
        EXPECT_EQ(model.pixels, isRight ? "1366 × 768" : "2560 × 1440");
        EXPECT_EQ(model.backdrop.has_value(), !isRight);
        const PanelRecord& panel = *contents.panels[isRight];
        EXPECT_EQ(panel.settings.frame, (isRight ? right : main).frame);
        EXPECT_EQ(panel.settings.level, 1000);
        EXPECT_TRUE(panel.settings.canBecomeKey);
        EXPECT_EQ(panel.key, isRight) << "the screen under the pointer";
    }
    contents.screenChoices[1]->onChoose();
    EXPECT_FALSE(contents.panels[1]->gone) << "called by its own panel";
    expectEnd(7);

    screens.pointer = {5000, 5000};
    choose();
    EXPECT_TRUE(contents.panels[2]->key && !contents.panels[3]->key);
    contents.screenChoices[3]->onCancel();
    expectEnd(std::nullopt);
}

TEST_F(ScreenChooserTests, KeysChooseByNumber) {
    const struct {
        std::int64_t keyCode;
        std::uint64_t flags;
        const char* typed;
        std::optional<Chosen> chosen;  ///< none for a key without meaning
    } cases[] = {{18, 0, "1", 1},
                 {-1, 0, "2", 7},
                 {19, NSEvent::shiftFlag, "é", 7},
                 {20, 0, "3", std::nullopt},
                 {29, 0, "0", std::nullopt},
                 {18, NSEvent::commandFlag, "1", std::nullopt},
                 {15, 0, "r", std::nullopt},
                 {53, 0, "", Chosen()}};
    for (const auto& [keyCode, flags, typed, chosen] : cases) {
        choose();
        EXPECT_EQ(keyMonitoring.press(keyCode, flags, typed), chosen.has_value()) << keyCode << typed;
        if (!chosen) chooser.finish(std::nullopt);
        expectEnd(chosen.value_or(std::nullopt));
    }
}

TEST_F(ScreenChooserTests, EndsOnceAndOnlyTheLatest) {
    choose();
    contents.screenChoices[1]->onChoose();
    contents.screenChoices[0]->onChoose();
    chooser.finish(std::nullopt);
    EXPECT_FALSE(keyMonitoring.press(-1, 0, "1"));
    expectEnd(7);

    RunningTask first(executor, awaitChoice());
    executor.drain();
    const auto oldChoose = contents.screenChoices.back()->onChoose;
    choose();
    EXPECT_THAT(results, testing::ElementsAre(Chosen())) << "the first choice is cancelled";
    EXPECT_EQ(contents.shownPanels(), 2U);
    oldChoose();
    executor.drain();
    EXPECT_EQ(results.size(), 1U) << "callbacks of the old choice have no effect";

    choosing.cancel();
    executor.drain();
    EXPECT_EQ(contents.shownPanels() + keyMonitoring.monitors, 0U) << "nothing waits for the choice";
    results.clear();
    screens.all = {unknown};
    choose();
    expectEnd(std::nullopt);
}

}  // namespace
}  // namespace lumicrate::test
