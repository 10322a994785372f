// ScreenChooser: the choice of a screen, without widgets.
#include "Lumicrate/Overlays/Selection/ScreenChooser.h"
#include "Tests/Lumicrate/Recording/RecorderFixture.h"

namespace lumicrate::test {
namespace {

const NSScreen main{1, {0, 0, 1280, 720}, {}, 2, "main"};
const NSScreen unknown{std::nullopt, {0, -600, 800, 600}, {}, 2, "cannot be recorded"};
const NSScreen right{7, {1280, 120, 683, 384}, {}, 2, "right"};

/// Checks that no panel is on the pictures.
struct FakePictures final : public SCScreenshotManager {
    explicit FakePictures(const FakeOverlayContents& shown) : contents(shown) {}
    std::optional<CGImage> captureImage(std::uint32_t, Size) override { return std::nullopt; }
    std::optional<CGImage> captureDisplay(std::uint32_t displayID) override {
        EXPECT_EQ(contents.shownPanels(), 0U);
        return displayID == 1 ? std::optional(CGImage{1, 1, {1, 2, 3}}) : std::nullopt;
    }
    const FakeOverlayContents& contents;
};

class ScreenChooserTests : public RecorderFixture {
 protected:
    using Chosen = std::optional<std::uint32_t>;

    ScreenChooserTests() { screens.all = {main, unknown, right}; }
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

    FakePictures pictures{contents};
    ScreenChooser chooser{executor, screens, pictures, keyMonitoring, contents};
    RunningTask choosing;
    std::vector<Chosen> results;
    std::size_t panelsLeft = 0;
};

TEST_F(ScreenChooserTests, EachScreenThatCanBeRecordedHasAPanel) {
    screens.pointer = {1300, 200};
    choose();
    ASSERT_EQ(contents.shownPanels(), 2U);
    const struct {
        NSScreen screen;
        const char* pixels;
        bool hasBackdrop, isKey;
    } expected[] = {{main, "2560 × 1440", true, false}, {right, "1366 × 768", false, true}};
    for (std::size_t i = 0; i < 2; ++i) {
        const ScreenChoice& model = *contents.screenChoices[i];
        EXPECT_EQ(model.number, int(i) + 1);
        EXPECT_EQ(model.name, expected[i].screen.localizedName);
        EXPECT_EQ(model.pixels, expected[i].pixels);
        EXPECT_EQ(model.backdrop.has_value(), expected[i].hasBackdrop);
        const PanelRecord& panel = *contents.panels[i];
        EXPECT_EQ(panel.settings.frame, expected[i].screen.frame);
        EXPECT_EQ(panel.settings.level, 1000);
        EXPECT_TRUE(panel.settings.canBecomeKey);
        EXPECT_EQ(panel.key, expected[i].isKey) << "the screen under the pointer";
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
    constexpr std::int64_t escape = 53;
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
                 {36, 0, "", std::nullopt},
                 {escape, 0, "", Chosen()}};
    for (const auto& [keyCode, flags, typed, chosen] : cases) {
        choose();
        EXPECT_EQ(keyMonitoring.press(keyCode, flags, typed), chosen.has_value()) << keyCode << typed;
        executor.drain();
        EXPECT_EQ(results.size(), chosen ? 1U : 0U) << keyCode << typed;
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
    EXPECT_EQ(contents.shownPanels(), 0U) << "nothing waits for the choice";
    EXPECT_EQ(keyMonitoring.monitors, 0);
    results.clear();

    screens.all = {unknown};
    choose();
    expectEnd(std::nullopt);
}

}  // namespace
}  // namespace lumicrate::test
