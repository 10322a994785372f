// SPDX-License-Identifier: GPL-3.0-or-later
// The models of a selection, without a screen: SelectionModel, AreaToolbarModel and RecordOptionsBar.
#include "Lumicrate/Overlays/Selection/RecordOptionsBar.h"
#include "Lumicrate/Overlays/Selection/SelectionModel.h"
#include "Tests/Lumicrate/FakePlatform.h"

#include <tuple>

namespace lumicrate::test {
namespace {

using Kind = SelectionCursor::Kind;
using testing::_;
using testing::Pair;

const Rect all{0, 0, 1200, 800};
const HoverTarget notes{{100, 100, 400, 300}, "Notes", 7};
const HoverTarget behind{{50, 50, 900, 700}, "Behind", 8};
const auto cancelled = Pair(std::nullopt, std::nullopt);

constexpr std::int64_t keyC = 8, keyN = 45, keyDelete = 117;
constexpr std::int64_t keyF = 3, keyReturn = 36, keyM = 46, keySpace = 49, keyEscape = 53, keyEnter = 76,
                       keyLeft = 123, keyRight = 124, keyDown = 125, keyUp = 126;

class SelectionModelTests : public testing::Test {
 protected:
    SelectionModelTests() { make(); }

    void make(double pixelScale = 1, bool windowsOnly = false) {
        results.clear();
        model.emplace(SelectionModel::Settings{all.size(), pixelScale, {notes, behind}, windowsOnly}, toolbar,
                      [this](std::optional<Rect> rect, std::optional<std::uint32_t> window) {
                          results.emplace_back(rect, window);
                      });
        model->setBarSizes({600, 44}, {240, 44});
    }
    void makeWith(const Rect& selected, double pixelScale = 1) {
        make(pixelScale);
        model->preselect(selected);
    }
    bool press(std::int64_t code, std::uint64_t flags = 0) { return model->keyDown({code, flags, {}, {}}); }
    void mouseDown(Point at, int clickCount = 1, bool snaps = false) {
        model->mouseMoved(at);
        model->mouseDown({at, clickCount, snaps});
    }
    void drag(Point from, Point to, bool snaps = false) {
        mouseDown(from, 1, snaps);
        model->mouseDragged({{(from.x + to.x) / 2, (from.y + to.y) / 2}, 1, snaps});
        model->mouseDragged({to, 1, snaps});
        model->mouseUp();
    }
    void click(Point at) {
        mouseDown(at);
        model->mouseUp();
    }
    const SelectionAppearance& seen() const { return *model->appearance; }
    std::optional<Rect> selection() const { return seen().selection; }
    std::pair<int, int> typedSize() const { return {*toolbar.width, *toolbar.height}; }

    AreaToolbarModel toolbar{"Record", {}};
    std::optional<SelectionModel> model;
    std::vector<std::pair<std::optional<Rect>, std::optional<std::uint32_t>>> results;
};

TEST_F(SelectionModelTests, HighlightsTheTargetUnderThePointer) {
    EXPECT_EQ(seen().hint,
              (SelectionLabel{"Click a window   ·   Drag to select an area   ·   F: full screen   ·   "
                              "Esc: cancel",
                              {600, 740}}));
    EXPECT_EQ(seen().pickBar, (Rect{480, 80, 240, 44}));
    EXPECT_FALSE(seen().highlighted || seen().toolbar || seen().magnified);
    model->mouseMoved({120, 120});
    EXPECT_EQ(seen().highlighted, notes) << "the front-most window";
    EXPECT_EQ(seen().highlightLabel, (SelectionLabel{"Notes  ·  400 × 300", {300, 250}}));
    model->mouseMoved({1100, 10});
    EXPECT_EQ(seen().highlightLabel->text, "Full Screen  ·  1200 × 800");
    model->mouseExited();
    EXPECT_FALSE(seen().highlighted);
    EXPECT_EQ(seen().cursor.kind, Kind::crosshair);
}

TEST_F(SelectionModelTests, ClickPicksTheTargetUnderThePointer) {
    click({200, 200});
    EXPECT_EQ(selection(), notes.rect);
    EXPECT_EQ(*toolbar.windowTitle, "Notes");
    EXPECT_EQ(typedSize(), std::pair(400, 300));
    EXPECT_EQ(seen().toolbar, (Rect{12, 44, 600, 44}));
    EXPECT_FALSE(seen().pickBar);
    EXPECT_EQ(seen().hint->text,
              "Return or double-click to record   ·   Drag to move, handles to resize   ·   Click outside to "
              "pick again   ·   Esc: cancel");
    toolbar.onConfirm();
    EXPECT_THAT(results, ElementsAre(Pair(notes.rect, std::nullopt))) << "the area, not the window";
    make();
    click({200, 200});
    toolbar.windowOnly = true;
    toolbar.onConfirm();
    model->cancel();
    EXPECT_THAT(results, ElementsAre(Pair(notes.rect, 7U))) << "called once";
    make();
    click({1100, 10});
    EXPECT_EQ(selection(), all);
    EXPECT_FALSE(*toolbar.windowTitle || *toolbar.windowOnly);
}

TEST_F(SelectionModelTests, SmallDragIsAClick) {
    const std::tuple<Point, AspectPreset, Rect, bool> cases[] = {
        {{202, 203}, AspectPreset::custom, notes.rect, true},
        {{400, 231}, AspectPreset::custom, notes.rect, true},
        {{400, 232}, AspectPreset::custom, {200, 200, 200, 32}, false},
        {{200, 200}, AspectPreset::square, {150, 100, 300, 300}, false}};
    for (const auto& [to, aspect, selected, isWindow] : cases) {
        make();
        toolbar.aspect = aspect;
        drag({200, 200}, to);
        EXPECT_EQ(selection(), selected);
        EXPECT_EQ(toolbar.windowTitle->has_value(), isWindow) << to.y;
        EXPECT_THAT(seen().handles, SizeIs(aspect == AspectPreset::custom ? 8 : 4));
    }
}

TEST_F(SelectionModelTests, PickedWindowIsKeptUntilItsFrameChanges) {
    click({200, 200});
    toolbar.windowOnly = true;
    click({250, 250});
    EXPECT_TRUE(*toolbar.windowTitle && *toolbar.windowOnly) << "a click moves nothing";
    EXPECT_EQ(seen().cursor.kind, Kind::openHand);
    drag({250, 250}, {260, 245});
    EXPECT_EQ(selection(), (Rect{110, 95, 400, 300}));
    EXPECT_FALSE(*toolbar.windowTitle || *toolbar.windowOnly);
    const Point corner{100, 100}, outside{90, 90};
    const std::function<void()> changes[] = {[&] { drag(corner, outside); }, [&] { press(keyLeft); },
                                             [&] { toolbar.onAspect(AspectPreset::square); },
                                             [&] { toolbar.onSize(300, std::nullopt); },
                                             [&] { toolbar.onFullScreen(); }};
    for (const auto& change : changes) {
        make();
        click({200, 200});
        EXPECT_TRUE(*toolbar.windowTitle);
        change();
        EXPECT_FALSE(*toolbar.windowTitle) << &change - changes;
    }
}

TEST_F(SelectionModelTests, APickedWindowIsFollowedUntilItCloses) {
    for (const bool windowOnly : {true, false}) {
        make();
        click({200, 200});
        toolbar.windowOnly = windowOnly;
        HoverTarget moved = notes;
        moved.rect.x += 50;
        model->setTargets({behind, moved});
        EXPECT_EQ(selection(), moved.rect);
        EXPECT_EQ(*toolbar.windowOnly, windowOnly);
        model->setTargets({behind});
        EXPECT_FALSE(*toolbar.windowTitle);
        EXPECT_EQ(selection().has_value(), !windowOnly) << "nothing else is recorded instead";
        EXPECT_EQ(seen().pickBar.has_value(), windowOnly);
    }
}

TEST_F(SelectionModelTests, DrawsMovesAndResizes) {
    mouseDown({300, 300});
    model->mouseDragged({{500, 180}, 1, false});
    EXPECT_EQ(selection(), (Rect{300, 180, 200, 120}));
    EXPECT_THAT(seen().handles, IsEmpty());
    EXPECT_EQ(seen().magnified, (Point{500, 180}));
    EXPECT_FALSE(seen().toolbar || seen().pickBar || seen().hint);
    model->mouseUp();
    EXPECT_THAT(seen().handles, SizeIs(8));
    EXPECT_FALSE(seen().magnified);
    EXPECT_EQ(seen().sizeLabel, (SelectionLabel{"200 × 120", {400, 160}}));
    mouseDown({400, 200});
    EXPECT_EQ(seen().cursor.kind, Kind::closedHand);
    EXPECT_FALSE(seen().toolbar);
    model->mouseDragged({{-500, -90}, 1, false});
    model->mouseUp();
    EXPECT_EQ(selection(), (Rect{0, 0, 200, 120})) << "stops at the edges";
    EXPECT_EQ(seen().sizeLabel->center, (Point{100, 140}));
    model->mouseMoved({205, 114});
    EXPECT_EQ(seen().cursor, (SelectionCursor{Kind::resize, Handle::topRight}));
    drag({205, 114}, {300.5, 250.25});
    EXPECT_EQ(selection(), (Rect{0, 0, 300, 251}));
    drag({1000, 600}, {1100, 700});
    EXPECT_EQ(selection(), (Rect{1000, 600, 100, 100})) << "a drag outside starts again";
    click({20, 780});
    EXPECT_EQ(selection(), all);
    drag({1000, 600}, {1199.5, 0.5});
    EXPECT_EQ(selection(), all) << "cannot move";
}

TEST_F(SelectionModelTests, SelectsToThePixelUnderThePointer) {
    const std::tuple<double, Point, Point, Rect> cases[] = {
        {1, {100.5, 699.5}, {300.5, 599.5}, {100, 600, 200, 100}},
        {1, {1000.5, 699.5}, {1199.5, 0.5}, {1000, 0, 200, 700}},
        {2, {100.75, 699.75}, {300.25, 599.75}, {100, 600, 200, 100}}};
    for (const auto& [scale, from, to, selected] : cases) {
        make(scale);
        drag(from, to);
        EXPECT_EQ(selection(), selected);
        EXPECT_EQ(typedSize(), std::pair(int(selected.width * scale), int(selected.height * scale)));
    }
}

TEST_F(SelectionModelTests, SnapsUnlessControlIsHeld) {
    drag({103, 398}, {496, 104}, true);
    EXPECT_EQ(selection(), notes.rect);
    drag({300, 250}, {347, 250}, true);
    EXPECT_EQ(selection()->x, 147) << "neither edge is near a line";
    drag({347, 250}, {303, 250}, true);
    EXPECT_EQ(selection()->x, 100);
    drag({500, 400}, {597, 400}, true);
    EXPECT_EQ(selection()->width, 500) << "the middle of the screen";
    make();
    drag({103, 398}, {496, 104});
    EXPECT_EQ(selection(), (Rect{103, 104, 393, 294}));
}

TEST_F(SelectionModelTests, Keys) {
    for (const auto code : {keyReturn, keyEnter, keyLeft})
        EXPECT_FALSE(press(code)) << "nothing is selected";
    for (const auto code : {keyF, keySpace}) {
        make();
        EXPECT_TRUE(press(code));
        EXPECT_EQ(selection(), all);
        EXPECT_FALSE(press(code));
    }
    for (const auto code : {keyReturn, keyEnter, keyEscape}) {
        makeWith({10, 10, 100, 100});
        EXPECT_TRUE(press(code));
        ASSERT_THAT(results, SizeIs(1));
        EXPECT_EQ(results[0].first.has_value(), code != keyEscape);
    }
    make();
    EXPECT_TRUE(press(keyM));
    model->mouseMoved({5, 5});
    EXPECT_EQ(seen().magnified, (Point{5, 5}));
    model->rightMouseDown();
    EXPECT_THAT(results, ElementsAre(cancelled));
}

TEST_F(SelectionModelTests, ArrowsMoveAndResizeByPixels) {
    constexpr auto shift = NSEvent::shiftFlag, option = NSEvent::optionFlag;
    // Of 100, 200, 300, 160 on a screen of two pixels per point.
    const std::tuple<std::int64_t, std::uint64_t, Rect> cases[] = {
        {keyLeft, 0, {99.5, 200, 300, 160}},         {keyUp, 0, {100, 200.5, 300, 160}},
        {keyRight, shift, {105, 200, 300, 160}},     {keyDown, shift, {100, 195, 300, 160}},
        {keyRight, option, {100, 200, 300.5, 160}},  {keyLeft, option, {100, 200, 299.5, 160}},
        {keyDown, option, {100, 199.5, 300, 160.5}}, {keyUp, option | shift, {100, 205, 300, 155}}};
    for (const auto& [code, flags, after] : cases) {
        makeWith({100, 200, 300, 160}, 2);
        EXPECT_TRUE(press(code, flags));
        EXPECT_EQ(selection(), after) << code << " " << flags;
        EXPECT_EQ(*toolbar.height, after.height * 2);
        click({200, 300});
        EXPECT_EQ(selection(), after) << "a click does not round to whole points";
    }
    makeWith({0, 0, 32, 32});
    for (const auto& [code, flags] :
         {std::pair(keyLeft, 0UL), {keyLeft, option}, {keyDown, 0UL}, {keyUp, option}})
        press(code, flags);
    EXPECT_EQ(selection(), (Rect{0, 0, 32, 32})) << "stays on the screen and does not shrink";
    toolbar.aspect = AspectPreset::square;
    for (const auto& [code, side] : {std::pair(keyRight, 33.0), {keyDown, 33.0}, {keyUp, 32.0}}) {
        makeWith({100, 100, 32, 32});
        press(code, option);
        EXPECT_EQ(selection()->size(), (Size{side, side}));
    }
}

TEST_F(SelectionModelTests, AppliesTypedSizesAndAspects) {
    model->applySize(100, 100);
    model->applyAspect(AspectPreset::wide);
    model->confirm();
    EXPECT_FALSE(selection() || !results.empty()) << "nothing is selected";
    makeWith({100.4, 200, 300, 100}, 2);
    EXPECT_EQ(selection(), (Rect{100, 200, 301, 100}));
    toolbar.onSize(501, std::nullopt);
    EXPECT_EQ(selection(), (Rect{100, 200, 251, 100})) << "whole points";
    toolbar.step(AreaToolbarModel::Side::width, "502", -1);
    EXPECT_EQ(*toolbar.width, 500);
    toolbar.aspect = AspectPreset::wide;
    toolbar.onAspect(AspectPreset::wide);
    toolbar.onSize(640, std::nullopt);
    EXPECT_EQ(*toolbar.height, 360);
    toolbar.onSize(std::nullopt, 180);
    EXPECT_EQ(*toolbar.width, 320);
    toolbar.onSize(1, std::nullopt);
    EXPECT_EQ(*toolbar.height, 64) << "the minimum";
    for (const Rect& outside : {Rect{-100, 0, 131, 300}, Rect{100, 780, 300, 300}, Rect{5000, 0, 90, 90}}) {
        makeWith(outside);
        EXPECT_FALSE(selection());
    }
}

TEST_F(SelectionModelTests, DoubleClickInsideConfirms) {
    for (const auto& [at, confirms] :
         {std::pair(Point{200, 250}, true), {{100, 200}, false}, {{900, 700}, false}}) {
        makeWith({100, 200, 300, 100});
        mouseDown(at, 2);
        EXPECT_THAT(results, SizeIs(confirms ? 1 : 0)) << at.x;
    }
}

TEST_F(SelectionModelTests, WindowsOnly) {
    make(1, true);
    EXPECT_EQ(seen().hint->text, "Click the window to record   ·   Esc: cancel");
    click({1100, 10});
    model->selectFullScreen();
    for (const auto code : {keyF, keySpace, keyReturn, keyM, keyLeft})
        EXPECT_FALSE(press(code));
    EXPECT_FALSE(selection() || !results.empty() || seen().highlighted || !seen().pickBar);
    mouseDown({60, 60});
    EXPECT_THAT(results, ElementsAre(Pair(behind.rect, 8U)));
    make(1, true);
    EXPECT_TRUE(press(keyEscape));
    EXPECT_THAT(results, ElementsAre(cancelled));
}

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

TEST_F(SelectionModelTests, CoversAreDrawnMovedAndResizedInsideTheSelection) {
    makeWith({100, 100, 400, 300});
    model->setRemoveButtonSize({30, 30});
    press(keyC);
    EXPECT_TRUE(*toolbar.covering);
    EXPECT_THAT(seen().handles, IsEmpty());
    drag({150.5, 150.5}, {250.25, 180});
    EXPECT_THAT(model->covers(), ElementsAre(Rect{150, 150, 101, 30}));
    EXPECT_EQ(selection(), (Rect{100, 100, 400, 300}));
    EXPECT_EQ(seen().removeButton, (Rect{261, 150, 30, 30}));
    EXPECT_THAT(seen().coverHandles, SizeIs(4)) << "too low for handles at its sides";
    EXPECT_TRUE(seen().toolbar);
    const struct {
        const char* what;
        Point from, to;
        Rect cover;
    } gestures[] = {
        {"moved", {200, 165}, {210.4, 175}, {160, 160, 101, 30}},
        {"moved to the edge", {200, 165}, {10, 175}, {100, 170, 101, 30}},
        {"resized", {201, 170}, {300, 120}, {100, 120, 200, 80}},
        {"resized by its top, which has a handle now", {200, 200}, {250, 900}, {100, 120, 200, 280}},
        {"resized to the smallest", {300, 120}, {0, 500}, {100, 392, 8, 8}},
        {"grabbed in its middle although it is small", {104, 396}, {204, 296}, {200, 292, 8, 8}},
    };
    for (const auto& each : gestures) {
        drag(each.from, each.to);
        EXPECT_THAT(model->covers(), ElementsAre(each.cover)) << each.what;
    }
    drag({300, 300}, {303, 303});
    drag({300, 300}, {306, 306});
    drag({50, 50}, {300, 300});
    EXPECT_THAT(model->covers(), SizeIs(1)) << "clicks, too small ones, and drags from outside";
    click({204, 296});
    press(keyRight, NSEvent::shiftFlag);
    press(keyDown, NSEvent::optionFlag);
    EXPECT_THAT(model->covers(), ElementsAre(Rect{210, 291, 8, 9}));
    press(keyN);
    EXPECT_THAT(model->covers(), ElementsAre(_, Rect{250, 212, 100, 76}));
    press(keySpace);
    EXPECT_TRUE(seen().covers[0].isChosen);
    press(keyDelete);
    EXPECT_THAT(seen().covers, ElementsAre(SelectionCover{{250, 212, 100, 76}, false}));
    EXPECT_FALSE(seen().removeButton);
    for (int i = 0; i < 40; ++i)
        press(keyN);
    EXPECT_THAT(model->covers(), SizeIs(32));
}

TEST_F(SelectionModelTests, CoversStayOnTheScreenAndEndWithTheirSelection) {
    make();
    press(keyC);
    EXPECT_FALSE(*toolbar.covering) << "nothing is selected";
    click({200, 200});
    toolbar.onCovering(true);
    drag({110, 110}, {200, 150});
    EXPECT_TRUE(press(keyEscape));
    EXPECT_FALSE(*toolbar.covering);
    EXPECT_THAT(results, IsEmpty());
    EXPECT_THAT(seen().handles, SizeIs(8));
    // A window that is followed has none.
    toolbar.windowOnly = true;
    EXPECT_THAT(seen().covers, IsEmpty());
    press(keyC);
    EXPECT_FALSE(*toolbar.covering);
    toolbar.windowOnly = false;
    EXPECT_THAT(model->covers(), ElementsAre(Rect{110, 110, 90, 40}));
    drag({300, 300}, {350, 320});
    EXPECT_EQ(selection(), (Rect{150, 120, 400, 300}));
    EXPECT_THAT(model->covers(), ElementsAre(Rect{150, 120, 50, 30})) << "the part that is still inside";
    drag({20, 20}, {90, 90});
    EXPECT_THAT(model->covers(), IsEmpty());
    drag({1000, 700}, {90, 90});
    EXPECT_THAT(model->covers(), ElementsAre(Rect{110, 110, 90, 40}));
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
        bar.emplace(defaults, microphones, [this](const auto& text) { complaints.push_back(text); });
    }
    std::vector<std::string> helps() const {
        std::vector<std::string> texts;
        for (const auto& each : bar->content->toggles)
            texts.push_back(each.help);
        return texts;
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
    EXPECT_THAT(written(RecordOptionsBar(defaults, {}, {}).microphoneMenu()),
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
