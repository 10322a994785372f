// AreaSelector: one selection from the recorder's request to its result: overlay, targets, picture,
// coordinates.
#include "Lumicrate/Overlays/Selection/AreaSelector.h"
#include "Tests/Lumicrate/Overlays/FakeOverlayContents.h"
#include "Tests/Lumicrate/Recording/RecorderFixture.h"

namespace lumicrate::test {
namespace {

using testing::ElementsAre;

struct FakeScreenshots final : public SCScreenshotManager {
    std::optional<CGImage> captureImage(std::uint32_t, Size) override { return std::nullopt; }
    std::optional<CGImage> captureDisplay(std::uint32_t displayID) override {
        return displayID == 2 ? std::optional(CGImage{800, 600, {}}) : std::nullopt;
    }
};

const NSScreen right{2, {1920, 480, 800, 600}, {1920, 480, 800, 600}, 2, "right"};

class AreaSelectorTests : public RecorderFixture {
 protected:
    void select(bool windowsOnly = false, std::optional<Rect> initialArea = {}, NSScreen screen = right) {
        task = RunningTask(executor, collect(selector.select(std::move(screen), "Record", initialArea,
                                                             {{"a", "Desk"}}, windowsOnly),
                                             results));
        executor.drain();
    }
    SelectionModel& model() { return contents.selectionModel->selection; }
    const SelectionAppearance& seen() { return *model().appearance; }

    FakeScreenshots pictures;
    AreaSelector selector{{executor, capture, pictures, process, screens, defaults, contents}};
    RunningTask task;
    std::vector<std::optional<PickedArea>> results;
};

TEST_F(AreaSelectorTests, CoversTheScreenUntilItsResult) {
    screens.pointer = {2010, 970};
    select();
    const PanelRecord& panel = contents.last();
    EXPECT_EQ(panel.settings.frame, right.frame);
    EXPECT_EQ(panel.settings.level, 1000);
    EXPECT_TRUE(panel.settings.canBecomeKey && panel.key && !panel.settings.ignoresMouseEvents);
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
    const auto window = [](std::uint32_t id, Rect frame) {
        SCWindow made;
        made.windowID = id;
        made.frame = frame;
        made.title = "Notes";
        made.owningApplication = SCRunningApplication{5, "Editor"};
        return made;
    };
    std::vector<SCWindow> windows{
        window(1, {1100, 300, 200, 150}), window(2, {900, 100, 300, 200}),  window(3, {1100, 300, 200, 200}),
        window(4, {1100, 300, 200, 200}), window(5, {1100, 300, 200, 150}), window(6, {961, 300, 78, 100}),
        window(7, {0, 0, 4000, 4000}),    window(8, {1000, 200, 800, 600}), window(9, {1010, 210, 100, 100})};
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
