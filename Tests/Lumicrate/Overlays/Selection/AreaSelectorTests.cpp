// SPDX-License-Identifier: GPL-3.0-or-later
// AreaSelector: one selection from the recorder's request to its result: overlay, targets, picture,
// coordinates.
#include "Lumicrate/Overlays/Selection/AreaSelector.h"
#include "Tests/Lumicrate/Recording/RecorderFixture.h"

namespace lumicrate::test {
namespace {

using testing::ElementsAre;

const NSScreen right{2, {1920, 480, 800, 600}, {1920, 480, 800, 600}, 2, "right"};

class AreaSelectorTests : public RecorderFixture {
 protected:
    AreaSelectorTests() { pictures.pictures[2] = {800, 600, {}}; }
    void select(bool windowsOnly = false, std::optional<Rect> initialArea = {}, NSScreen screen = right) {
        task = RunningTask(executor, collect(selector.select(std::move(screen), "Record", initialArea,
                                                             {{"a", "Desk"}}, windowsOnly),
                                             results));
        executor.drain();
    }
    SelectionModel& model() { return contents.selectionModel->selection; }
    const SelectionAppearance& seen() { return *model().appearance; }

    FakeDisplayPictures pictures{contents};
    AreaSelector selector{{executor, capture, pictures, process, screens, defaults, contents}};
    RunningTask task;
    std::vector<std::optional<PickedArea>> results;
};

TEST_F(AreaSelectorTests, CoversTheScreenUntilItsResult) {
    screens.pointer = {2010, 970};
    select();
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

TEST_F(AreaSelectorTests, OffersTheInitialArea) {
    select(false, Rect{10, 20, 300, 100});
    EXPECT_EQ(seen().selection, (Rect{10, 480, 300, 100}));
    model().confirm();
    executor.drain();
    EXPECT_EQ(results.at(0)->rect, (Rect{10, 20, 300, 100}));
    EXPECT_FALSE(results[0]->windowID);
    select(true);
    EXPECT_TRUE(model().windowsOnly());
}

TEST_F(AreaSelectorTests, EndsOnceAndOnlyTheLatest) {
    select();
    select();
    EXPECT_EQ(contents.shownPanels(), 1U);
    model().cancel();
    executor.drain();
    EXPECT_EQ(results.size(), 1U) << "the first caller was cancelled";
    EXPECT_FALSE(results[0]);
    select();
    task.cancel();
    EXPECT_EQ(contents.shownPanels(), 0U);
}

TEST_F(AreaSelectorTests, WorksWithoutWindowsOrPicture) {
    NSScreen unknown = right;
    unknown.displayID.reset();
    screens.pointer = {2010, 980};
    capture.contentError = std::make_exception_ptr(PlatformError("The server is gone."));
    for (const NSScreen& each : {right, unknown}) {
        select(false, std::nullopt, each);
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
    for (std::uint32_t i = 0; i < 9; ++i) {
        windows[i].windowID = i + 1;
        windows[i].frame = frames[i];
        windows[i].title = "Notes";
        windows[i].owningApplication = SCRunningApplication{5, "Editor"};
    }
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

}  // namespace
}  // namespace lumicrate::test
