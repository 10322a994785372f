// SPDX-License-Identifier: GPL-3.0-or-later
// AreaSelector and ScreenChooser: a choice on the screen, from the recorder's request to its result.
#include "Tests/Lumicrate/Recording/RecorderFixture.h"

namespace lumicrate::test {
namespace {

class AreaSelectorTests : public RecorderFixture {
 protected:
    AreaSelectorTests() {
        right.backingScaleFactor = 2;
        pictures.pictures[2] = {800, 600, {}};
    }
    void select(const NSScreen& screen) {
        task = RunningTask(
            executor,
            collect(areaSelector.select(screen, "Record", std::nullopt, {{"a", "Desk"}}, false), results));
        executor.drain();
    }
    SelectionModel& model() { return contents.selectionModel->selection; }
    const SelectionAppearance& seen() { return *model().appearance; }

    NSScreen& right = screens.all[1];
    RunningTask task;
    std::vector<std::optional<PickedArea>> results;
};

TEST_F(AreaSelectorTests, CoversTheScreenUntilItsResult) {
    screens.pointer = {2010, 970};
    select(right);
    const NSPanel::Settings& panel = contents.last().settings;
    EXPECT_EQ(panel.frame, right.frame);
    EXPECT_EQ(panel.level, 1000);
    EXPECT_TRUE(panel.canBecomeKey && contents.last().key && !panel.ignoresMouseEvents);
    EXPECT_EQ(contents.selectionModel->snapshot->width, 800);
    EXPECT_EQ(contents.selectionModel->toolbar.microphones.at(0).name, "Desk");
    EXPECT_EQ(seen().highlightLabel->text, "notes — Editor  ·  600 × 400") << "the pointer is over it";
    model().mouseDown({{90, 490}});
    model().mouseUp();
    contents.selectionModel->toolbar.windowOnly = true;
    model().confirm();
    EXPECT_EQ(contents.shownPanels(), 1U) << "not from inside its own event";
    executor.drain();
    EXPECT_EQ(contents.shownPanels(), 0U);
    ASSERT_EQ(results.size(), 1U);
    EXPECT_EQ(results[0]->rect, (Rect{80, 100, 300, 200})) << "y down";
    EXPECT_EQ(results[0]->windowID, 7U);
}

TEST_F(AreaSelectorTests, EndsOnceAndOnlyTheLatest) {
    select(right);
    select(right);
    EXPECT_EQ(contents.shownPanels(), 1U);
    model().cancel();
    executor.drain();
    EXPECT_EQ(results.size(), 1U) << "the first caller was cancelled";
    EXPECT_FALSE(results[0]);
    select(right);
    task.cancel();
    EXPECT_EQ(contents.shownPanels(), 0U);
}

TEST_F(AreaSelectorTests, FollowsItsScreenAndItsWindows) {
    select(right);
    model().preselect({10, 300, 400, 200});
    right.frame = {1920, 280, 1000, 800};
    right.backingScaleFactor = 1;
    screens.changes.notify();
    EXPECT_EQ(contents.shownPanels(), 0U) << "not on the picture of the screen";
    executor.advance(1s);
    EXPECT_EQ(contents.visible("selection")->settings.frame, right.frame);
    EXPECT_EQ(seen().selection, (Rect{20, 200, 800, 400})) << "the same pixels, from the top";
    EXPECT_EQ(model().pixelScale(), 1);
    capture.content.windows[0].frame.x += 20;
    areaSelector.refreshTargets();
    executor.drain();
    EXPECT_FALSE(model().target({81, 490}) && model().target({81, 490})->windowID);
    EXPECT_EQ(contents.shownPanels(), 1U);
    screens.all.pop_back();
    screens.changes.notify();
    executor.drain();
    EXPECT_EQ(contents.shownPanels(), 0U);
    ASSERT_EQ(results.size(), 1U);
    EXPECT_FALSE(results[0]);
}

TEST_F(AreaSelectorTests, WorksWithoutWindowsOrPicture) {
    NSScreen unknown = right;
    unknown.displayID.reset();
    screens.pointer = {2010, 980};
    capture.contentError = broken;
    for (const NSScreen& each : {right, unknown}) {
        select(each);
        EXPECT_EQ(seen().highlighted->title, "Full Screen");
        EXPECT_EQ(contents.selectionModel->snapshot.has_value(), each.displayID.has_value());
        model().cancel();
        executor.drain();
    }
    EXPECT_EQ(results.size(), 2U);
}

TEST(HoverTargetTests, ArePartsOfOtherProgramsWindows) {
    std::vector<SCWindow> windows(9);
    const Rect frames[] = {{1100, 300, 200, 150}, {900, 100, 300, 200},  {1100, 300, 200, 200},
                           {1100, 300, 200, 200}, {1100, 300, 200, 150}, {961, 300, 78, 100},
                           {0, 0, 4000, 4000},    {1000, 200, 800, 600}, {1010, 210, 100, 100}};
    for (std::uint32_t i = 0; i < 9; ++i)
        windows[i] = {i + 1, frames[i], "Notes", 0, SCRunningApplication{5, "Editor"}};
    windows[2].windowLayer = 101;
    windows[3].alpha = 0;
    windows[4].owningApplication->processID = 77;
    windows[7].title.reset();
    windows[8].owningApplication.reset();
    EXPECT_THAT(hoverTargets(windows, {1000, 200, 800, 600}, 77),
                ElementsAre(HoverTarget{{100, 350, 200, 150}, "Notes — Editor", 1},
                            HoverTarget{{0, 500, 200, 100}, "Notes — Editor", 2},
                            HoverTarget{{0, 0, 800, 600}, "Notes — Editor", 7},
                            HoverTarget{{0, 0, 800, 600}, "Editor", 8},
                            HoverTarget{{10, 490, 100, 100}, "Notes", 9}));
}

class ScreenChooserTests : public RecorderFixture {
 protected:
    using Chosen = std::optional<std::uint32_t>;

    ScreenChooserTests() {
        screens.all[1].backingScaleFactor = 2;
        screens.all.insert(screens.all.begin() + 1, {std::nullopt, {0, -600, 800, 600}, {}, 2, "unknown"});
        pictures.pictures[1] = {1, 1, {1, 2, 3}};
    }
    void choose() {
        choosing = RunningTask(executor, collect(screenChooser.choose(), results));
        executor.drain();
    }
    void expectEnd(const Chosen& result) {
        executor.drain();
        EXPECT_THAT(results, ElementsAre(result));
        EXPECT_EQ(contents.shownPanels() + keyMonitoring.monitors, 0U);
        results.clear();
    }

    RunningTask choosing;
    std::vector<Chosen> results;
};

TEST_F(ScreenChooserTests, EachScreenThatCanBeRecordedHasAPanel) {
    screens.pointer = {2000, 500};
    choose();
    ASSERT_EQ(contents.shownPanels(), 2U);
    for (const bool isRight : {false, true}) {
        const ScreenChoice& model = *contents.screenChoices[isRight];
        EXPECT_EQ(model.number, isRight ? 2 : 1);
        EXPECT_EQ(model.name, isRight ? "right" : "left");
        EXPECT_EQ(model.pixels, isRight ? "1600 × 1200" : "1920 × 1080");
        EXPECT_EQ(model.backdrop.has_value(), !isRight);
        const PanelRecord& panel = *contents.panels[isRight];
        EXPECT_EQ(panel.settings.frame, screens.all[isRight ? 2 : 0].frame);
        EXPECT_EQ(panel.settings.level, 1000);
        EXPECT_TRUE(panel.settings.canBecomeKey);
        EXPECT_EQ(panel.key, isRight) << "the screen under the pointer";
    }
    contents.screenChoices[1]->onChoose();
    EXPECT_FALSE(contents.panels[1]->gone) << "called by its own panel";
    expectEnd(2);

    screens.pointer = {5000, 5000};
    choose();
    EXPECT_TRUE(contents.panels[2]->key && !contents.panels[3]->key);
    contents.screenChoices[3]->onCancel();
    expectEnd(std::nullopt);
}

TEST_F(ScreenChooserTests, FollowsTheScreens) {
    choose();
    screens.all.pop_back();
    screens.all[0].frame.width = 1000;
    screens.changes.notify();
    ASSERT_EQ(contents.shownPanels(), 1U);
    EXPECT_EQ(contents.visible("screen")->settings.frame, screens.all[0].frame);
    screens.all.clear();
    screens.changes.notify();
    expectEnd(std::nullopt);
}

TEST_F(ScreenChooserTests, KeysChooseByNumber) {
    const struct {
        std::int64_t keyCode;
        std::uint64_t flags;
        const char* typed;
        std::optional<Chosen> chosen;  ///< none for a key without meaning
    } cases[] = {{18, 0, "1", 1},
                 {-1, 0, "2", 2},
                 {19, NSEvent::shiftFlag, "é", 2},
                 {20, 0, "3", std::nullopt},
                 {29, 0, "0", std::nullopt},
                 {18, NSEvent::commandFlag, "1", std::nullopt},
                 {15, 0, "r", std::nullopt},
                 {53, 0, "", Chosen()}};
    for (const auto& [keyCode, flags, typed, chosen] : cases) {
        choose();
        EXPECT_EQ(keyMonitoring.press(keyCode, flags, typed), chosen.has_value()) << keyCode << typed;
        if (!chosen) screenChooser.finish(std::nullopt);
        expectEnd(chosen.value_or(std::nullopt));
    }
}

TEST_F(ScreenChooserTests, EndsOnceAndOnlyTheLatest) {
    choose();
    contents.screenChoices[1]->onChoose();
    contents.screenChoices[0]->onChoose();
    screenChooser.finish(std::nullopt);
    EXPECT_FALSE(keyMonitoring.press(-1, 0, "1"));
    expectEnd(2);

    RunningTask first(executor, collect(screenChooser.choose(), results));
    executor.drain();
    const auto oldChoose = contents.screenChoices.back()->onChoose;
    choose();
    EXPECT_THAT(results, ElementsAre(Chosen())) << "the first choice is cancelled";
    EXPECT_EQ(contents.shownPanels(), 2U);
    oldChoose();
    executor.drain();
    EXPECT_EQ(results.size(), 1U) << "callbacks of the old choice have no effect";

    choosing.cancel();
    executor.drain();
    EXPECT_EQ(contents.shownPanels() + keyMonitoring.monitors, 0U) << "nothing waits for the choice";
    results.clear();
    screens.all = {screens.all[1]};
    choose();
    expectEnd(std::nullopt);
}

}  // namespace
}  // namespace lumicrate::test
