// One selection from the recorder's question to its answer: overlay, targets, picture and coordinates.
#include "Lumicrate/Overlays/Selection/AreaSelector.h"
#include "Tests/Lumicrate/Overlays/FakeOverlayContents.h"
#include "Tests/Lumicrate/Recording/RecorderFixture.h"

namespace lumicrate::test {
namespace {

struct FakeScreenshots final : public SCScreenshotManager {
    std::optional<CGImage> captureImage(std::uint32_t, Size) override { return std::nullopt; }
    std::optional<CGImage> captureDisplay(std::uint32_t displayID) override {
        if (displayID != 2) return std::nullopt;
        return CGImage{800, 600, {}};
    }
};

const NSScreen right{2, {1920, 480, 800, 600}, {1920, 480, 800, 600}, 2, "right"};

class AreaSelectorTests : public RecorderFixture {
 protected:
    void select(bool windowsOnly = false, std::optional<Rect> initialArea = {}, NSScreen screen = right) {
        task = RunningTask(executor, awaitSelection(windowsOnly, initialArea, std::move(screen)));
        executor.drain();
    }
    Task<void> awaitSelection(bool windowsOnly, std::optional<Rect> initialArea, NSScreen screen) {
        Task<std::optional<PickedArea>> selecting =
            selector.select(std::move(screen), "Record", initialArea, {{"a", "Desk"}}, windowsOnly);
        const std::optional<PickedArea> picked = co_await selecting;
        results.push_back(picked);
    }
    SelectionModel& view() { return contents.selectionModel->selection; }
    const SelectionAppearance& seen() { return *view().appearance; }

    FakeOverlayContents contents;
    FakeScreenshots screenshots;
    AreaSelector selector{{executor, capture, screenshots, process, screens, defaults, contents}};
    RunningTask task;
    std::vector<std::optional<PickedArea>> results;
};

TEST_F(AreaSelectorTests, CoversItsScreenUntilItIsAnswered) {
    screens.pointer = {2010, 970};
    select();
    const PanelRecord& panel = contents.last();
    EXPECT_EQ(panel.settings.frame, right.frame);
    EXPECT_EQ(panel.settings.level, 1000);
    EXPECT_TRUE(panel.settings.canBecomeKey && panel.key && !panel.settings.ignoresMouseEvents);
    EXPECT_EQ(contents.selectionModel->snapshot->width, 800);
    EXPECT_EQ(contents.selectionModel->toolbar.microphones.at(0).name, "Desk");
    EXPECT_EQ(seen().highlightLabel->text, "notes — Editor  ·  600 × 400") << "the pointer is over it";
    view().mouseDown({{90, 490}});
    view().mouseUp();
    contents.selectionModel->toolbar.windowOnly = true;
    view().confirm();
    EXPECT_EQ(contents.shownPanels(), 1U) << "not from inside its own event";
    executor.drain();
    EXPECT_EQ(contents.shownPanels(), 0U);
    ASSERT_EQ(results.size(), 1U);
    EXPECT_EQ(results[0]->rect, (Rect{80, 100, 300, 200})) << "from the top left corner";
    EXPECT_EQ(results[0]->windowID, 7U);
}

TEST_F(AreaSelectorTests, TheLastAreaIsOfferedAgain) {
    select(false, Rect{10, 20, 300, 100});
    EXPECT_EQ(seen().selection, (Rect{10, 480, 300, 100}));
    view().confirm();
    executor.drain();
    EXPECT_EQ(results.at(0)->rect, (Rect{10, 20, 300, 100})) << "there and back";
    EXPECT_FALSE(results[0]->windowID);
    select(true);
    EXPECT_TRUE(view().windowsOnly());
}

TEST_F(AreaSelectorTests, EndsOnceHoweverItEnds) {
    select();
    select();
    EXPECT_EQ(contents.shownPanels(), 1U);
    view().cancel();
    executor.drain();
    EXPECT_EQ(results.size(), 1U) << "nobody waits for the former any more";
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
        view().cancel();
        executor.drain();
    }
    EXPECT_EQ(results.size(), 2U);
}

}  // namespace
}  // namespace lumicrate::test
