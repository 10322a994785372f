// A selection as it is picked, drawn, moved, resized, typed and confirmed, without a screen.
#include "Lumicrate/Overlays/Selection/SelectionModel.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>
#include <utility>
#include <vector>

namespace lumicrate::test {
namespace {

using Kind = SelectionCursor::Kind;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

const Rect all{0, 0, 1200, 800};
const HoverTarget notes{{100, 100, 400, 300}, "Notes", 7};
const HoverTarget behind{{50, 50, 900, 700}, "Behind", 8};

NSEvent key(std::int64_t code, std::uint64_t flags = 0) {
    NSEvent event;
    event.keyCode = code;
    event.modifierFlags = flags;
    return event;
}

constexpr std::int64_t keyF = 3, keyReturn = 36, keyM = 46, keySpace = 49, keyEscape = 53, keyEnter = 76,
                       keyLeft = 123, keyRight = 124, keyDown = 125, keyUp = 126;

class SelectionModelTests : public testing::Test {
 protected:
    SelectionModelTests() { make({}); }

    void make(SelectionModel::Settings settings) {
        settings.screen = all.size();
        settings.targets = {notes, behind};
        results.clear();
        view.emplace(std::move(settings), model,
                     [this](std::optional<Rect> rect, std::optional<std::uint32_t> window) {
                         results.emplace_back(rect, window);
                     });
        view->setToolbarSize({600, 44});
        view->setPickBarSize({240, 44});
    }
    /// Without snapping, unless told otherwise.
    void press(Point at, int clickCount = 1, bool snaps = false) {
        view->mouseMoved(at);
        view->mouseDown({at, clickCount, snaps});
    }
    void drag(Point from, Point to, bool snaps = false) {
        press(from, 1, snaps);
        view->mouseDragged({{(from.x + to.x) / 2, (from.y + to.y) / 2}, 1, snaps});
        view->mouseDragged({to, 1, snaps});
        view->mouseUp();
    }
    void click(Point at) {
        press(at);
        view->mouseUp();
    }
    const SelectionAppearance& seen() const { return *view->appearance; }
    std::optional<Rect> selection() const { return seen().selection; }

    AreaToolbarModel model{"Record", {}};
    std::optional<SelectionModel> view;
    std::vector<std::pair<std::optional<Rect>, std::optional<std::uint32_t>>> results;
};

TEST_F(SelectionModelTests, ShowsWhatCanBePicked) {
    EXPECT_EQ(seen().hint->text,
              "Click a window   ·   Drag to select an area   ·   F: full screen   ·   Esc: cancel");
    EXPECT_EQ(seen().hint->center, (Point{600, 740}));
    EXPECT_EQ(seen().pickBar, (Rect{480, 80, 240, 44}));
    EXPECT_FALSE(seen().highlighted || seen().toolbar || seen().magnified);
    view->mouseMoved({120, 120});
    EXPECT_EQ(seen().highlighted, notes) << "the front-most";
    EXPECT_EQ(seen().highlightLabel->text, "Notes  ·  400 × 300");
    EXPECT_EQ(seen().highlightLabel->center, (Point{300, 250}));
    view->mouseMoved({1100, 10});
    EXPECT_EQ(seen().highlightLabel->text, "Full Screen  ·  1200 × 800");
    view->mouseExited();
    EXPECT_FALSE(seen().highlighted);
    EXPECT_EQ(seen().cursor.kind, Kind::crosshair);
}

TEST_F(SelectionModelTests, AClickPicksWhatIsUnderIt) {
    click({200, 200});
    EXPECT_EQ(selection(), notes.rect);
    EXPECT_EQ(*model.windowTitle, "Notes");
    EXPECT_EQ(std::pair(*model.width, *model.height), std::pair(400, 300));
    EXPECT_EQ(seen().toolbar, (Rect{12, 44, 600, 44}));
    EXPECT_FALSE(seen().pickBar);
    EXPECT_EQ(seen().hint->text,
              "Return or double-click to record   ·   Drag to move, handles to resize   ·   Click outside to "
              "pick again   ·   Esc: cancel");
    // Its number is asked for.
    model.onConfirm();
    EXPECT_THAT(results, ElementsAre(std::pair(std::optional(notes.rect), std::nullopt)));

    make({});
    click({200, 200});
    model.windowOnly = true;
    model.onConfirm();
    model.onConfirm();
    view->cancel();
    EXPECT_THAT(results, ElementsAre(std::pair(std::optional(notes.rect), std::optional(7U)))) << "once";

    make({});
    click({1100, 10});
    EXPECT_EQ(selection(), all);
    EXPECT_FALSE(*model.windowTitle || *model.windowOnly);
}

TEST_F(SelectionModelTests, WhatIsTooSmallIsAClick) {
    drag({200, 200}, {202, 203});
    EXPECT_EQ(selection(), notes.rect) << "four points";
    view->mouseMoved({1150, 20});
    make({});
    drag({200, 200}, {400, 231});
    EXPECT_EQ(selection(), notes.rect) << "31 high";
    make({});
    drag({200, 200}, {400, 232});
    EXPECT_EQ(selection(), (Rect{200, 200, 200, 32}));
    EXPECT_FALSE(*model.windowTitle);
    make({});
    model.aspect = AspectPreset::square;
    click({200, 200});
    EXPECT_EQ(selection(), (Rect{150, 100, 300, 300}));
    EXPECT_FALSE(*model.windowTitle) << "a part of the window";
    EXPECT_THAT(seen().handles, SizeIs(4));
    model.aspect = AspectPreset::custom;
}

TEST_F(SelectionModelTests, APickedWindowStaysOneUntilItsFrameChanges) {
    click({200, 200});
    model.windowOnly = true;
    click({250, 250});
    EXPECT_EQ(*model.windowTitle, "Notes") << "a click moves nothing";
    EXPECT_TRUE(*model.windowOnly);
    EXPECT_EQ(seen().cursor.kind, Kind::openHand);
    drag({250, 250}, {260, 245});
    EXPECT_EQ(selection(), (Rect{110, 95, 400, 300}));
    EXPECT_FALSE(*model.windowTitle || *model.windowOnly);
    const std::pair<const char*, std::function<void()>> changes[] = {
        {"a handle",
         [this] {
             drag({100, 100}, {90, 90});
         }},
        {"a shape", [this] { model.onAspect(AspectPreset::square); }},
        {"a size", [this] { model.onSize(300, std::nullopt); }},
        {"a key", [this] { view->keyDown(key(keyLeft)); }},
        {"all of the screen", [this] { model.onFullScreen(); }}};
    for (const auto& [what, change] : changes) {
        make({});
        click({200, 200});
        EXPECT_TRUE(*model.windowTitle);
        change();
        EXPECT_FALSE(*model.windowTitle) << what;
    }
}

TEST_F(SelectionModelTests, DrawnMovedAndResized) {
    press({300, 300});
    view->mouseDragged({{500, 180}, 1, false});
    EXPECT_EQ(selection(), (Rect{300, 180, 200, 120}));
    EXPECT_THAT(seen().handles, IsEmpty());
    EXPECT_EQ(seen().magnified, (Point{500, 180}));
    EXPECT_FALSE(seen().toolbar || seen().pickBar || seen().hint);
    view->mouseUp();
    EXPECT_THAT(seen().handles, SizeIs(8));
    EXPECT_FALSE(seen().magnified);
    EXPECT_EQ(seen().sizeLabel->text, "200 × 120");
    EXPECT_EQ(seen().sizeLabel->center, (Point{400, 160}));

    press({400, 200});
    EXPECT_EQ(seen().cursor.kind, Kind::closedHand);
    EXPECT_FALSE(seen().toolbar);
    view->mouseDragged({{-500, -90}, 1, false});
    view->mouseUp();
    EXPECT_EQ(selection(), (Rect{0, 0, 200, 120})) << "no further than the edges";
    EXPECT_EQ(seen().sizeLabel->center, (Point{100, 140}));

    view->mouseMoved({205, 114});
    EXPECT_EQ(seen().cursor, (SelectionCursor{Kind::resize, Handle::topRight}));
    drag({205, 114}, {300.5, 250.25});
    EXPECT_EQ(selection(), (Rect{0, 0, 300, 251})) << "the corner of the pixel";
    drag({1000, 600}, {1100, 700});
    EXPECT_EQ(selection(), (Rect{1000, 600, 100, 100})) << "outside begins anew";
    click({20, 780});
    EXPECT_EQ(selection(), all);
    drag({1000, 600}, {1199.5, 0.5});
    EXPECT_EQ(selection(), all) << "as large as it can be";
}

TEST_F(SelectionModelTests, ThePointersPixelCounts) {
    drag({100.5, 699.5}, {300.5, 599.5});
    EXPECT_EQ(selection(), (Rect{100, 600, 200, 100}));
    view->cancel();
    make({});
    drag({1000.5, 699.5}, {1199.5, 0.5});
    EXPECT_EQ(selection(), (Rect{1000, 0, 200, 700})) << "the last pixel is the edge";
    SelectionModel::Settings dense;
    dense.pixelScale = 2;
    make(dense);
    drag({100.75, 699.75}, {300.25, 599.75});
    EXPECT_EQ(selection(), (Rect{100, 600, 200, 100})) << "grown to whole points";
    EXPECT_EQ(std::pair(*model.width, *model.height), std::pair(400, 200));
}

TEST_F(SelectionModelTests, EdgesGoToThoseOfWindowsUnlessToldOtherwise) {
    drag({103, 398}, {496, 104}, true);
    EXPECT_EQ(selection(), notes.rect);
    drag({300, 250}, {347, 250}, true);
    EXPECT_EQ(selection()->x, 147) << "neither edge is near a line";
    drag({347, 250}, {303, 250}, true);
    EXPECT_EQ(selection()->x, 100);
    drag({500, 400}, {597, 400}, true);
    EXPECT_EQ(selection()->width, 500) << "the screen's half";
    click({600, 250});
    make({});
    drag({103, 398}, {496, 104});
    EXPECT_EQ(selection(), (Rect{103, 104, 393, 294}));
}

TEST_F(SelectionModelTests, Keys) {
    for (const auto code : {keyReturn, keyEnter, keyLeft})
        EXPECT_FALSE(view->keyDown(key(code))) << "nothing is selected";
    for (const auto code : {keyF, keySpace}) {
        make({});
        EXPECT_TRUE(view->keyDown(key(code)));
        EXPECT_EQ(selection(), all);
        EXPECT_FALSE(view->keyDown(key(code)));
    }
    for (const auto code : {keyReturn, keyEnter, keyEscape}) {
        make({});
        view->preselect({10, 10, 100, 100});
        EXPECT_TRUE(view->keyDown(key(code)));
        EXPECT_THAT(results, SizeIs(1));
        EXPECT_EQ(results.at(0).first.has_value(), code != keyEscape);
    }
    make({});
    EXPECT_TRUE(view->keyDown(key(keyM)));
    view->mouseMoved({5, 5});
    EXPECT_EQ(seen().magnified, (Point{5, 5}));
    view->rightMouseDown();
    EXPECT_THAT(results, ElementsAre(std::pair(std::nullopt, std::nullopt)));
}

TEST_F(SelectionModelTests, ArrowsMoveByPixelsAndResize) {
    const struct {
        std::int64_t code;
        std::uint64_t flags;
        Rect after;  // of 100, 200, 300, 160 on a screen of two pixels a point
    } cases[] = {{keyLeft, 0, {99.5, 200, 300, 160}},
                 {keyUp, 0, {100, 200.5, 300, 160}},
                 {keyRight, NSEvent::shiftFlag, {105, 200, 300, 160}},
                 {keyDown, NSEvent::shiftFlag, {100, 195, 300, 160}},
                 {keyRight, NSEvent::optionFlag, {100, 200, 300.5, 160}},
                 {keyLeft, NSEvent::optionFlag, {100, 200, 299.5, 160}},
                 {keyDown, NSEvent::optionFlag, {100, 199.5, 300, 160.5}},
                 {keyUp, NSEvent::optionFlag | NSEvent::shiftFlag, {100, 205, 300, 155}}};
    for (const auto& each : cases) {
        SelectionModel::Settings dense;
        dense.pixelScale = 2;
        make(dense);
        view->preselect({100, 200, 300, 160});
        EXPECT_TRUE(view->keyDown(key(each.code, each.flags)));
        EXPECT_EQ(selection(), each.after) << each.code << " " << each.flags;
        EXPECT_EQ(*model.height, each.after.height * 2);
        click({200, 300});
        EXPECT_EQ(selection(), each.after) << "a click leaves what lies between points";
    }
    make({});
    view->preselect({0, 0, 32, 32});
    for (const auto code : {keyLeft, keyDown}) {
        view->keyDown(key(code));
        view->keyDown(key(code == keyDown ? keyUp : code, NSEvent::optionFlag));
    }
    EXPECT_EQ(selection(), (Rect{0, 0, 32, 32})) << "neither out of the screen nor smaller";
    model.aspect = AspectPreset::square;
    for (const auto& [code, side] : {std::pair(keyRight, 33.0), {keyDown, 33.0}, {keyUp, 32.0}}) {
        make({});
        view->preselect({100, 100, 32, 32});
        view->keyDown(key(code, NSEvent::optionFlag));
        EXPECT_EQ(selection()->size(), (Size{side, side}));
    }
}

TEST_F(SelectionModelTests, SizesAreTypedAndShapesApplied) {
    view->applySize(100, 100);
    view->applyAspect(AspectPreset::wide);
    view->confirm();
    EXPECT_FALSE(selection() || !results.empty()) << "nothing is selected";
    SelectionModel::Settings dense;
    dense.pixelScale = 2;
    make(dense);
    view->preselect({100.4, 200, 300, 100});
    EXPECT_EQ(selection(), (Rect{100, 200, 301, 100}));
    model.onSize(501, std::nullopt);
    EXPECT_EQ(selection(), (Rect{100, 200, 251, 100})) << "whole points";
    EXPECT_EQ(*model.width, 502);
    model.step(AreaToolbarModel::Side::width, "502", -1);
    EXPECT_EQ(*model.width, 500);
    model.aspect = AspectPreset::wide;
    model.onAspect(AspectPreset::wide);
    model.onSize(640, std::nullopt);
    EXPECT_EQ(*model.height, 360);
    model.onSize(std::nullopt, 180);
    EXPECT_EQ(*model.width, 320);
    model.onSize(1, std::nullopt);
    EXPECT_EQ(*model.height, 64) << "no less";
    for (const Rect& few : {Rect{-100, 0, 131, 300}, Rect{100, 780, 300, 300}, Rect{5000, 0, 90, 90}}) {
        make({});
        view->preselect(few);
        EXPECT_FALSE(selection());
    }
}

TEST_F(SelectionModelTests, ADoubleClickConfirms) {
    click({200, 200});
    press({200, 200}, 2);
    EXPECT_THAT(results, SizeIs(1));
    make({});
    view->preselect({100, 200, 300, 100});
    press({100, 200}, 2);
    view->mouseUp();
    EXPECT_THAT(results, IsEmpty()) << "a handle";
    press({900, 700}, 2);
    EXPECT_THAT(results, IsEmpty()) << "outside";
}

TEST_F(SelectionModelTests, WindowsAlone) {
    SelectionModel::Settings settings;
    settings.windowsOnly = true;
    make(settings);
    EXPECT_EQ(seen().hint->text, "Click the window to record   ·   Esc: cancel");
    click({1100, 10});
    view->selectFullScreen();
    for (const auto code : {keyF, keySpace, keyReturn, keyM, keyLeft})
        EXPECT_FALSE(view->keyDown(key(code)));
    EXPECT_FALSE(selection() || !results.empty() || seen().highlighted);
    EXPECT_TRUE(seen().pickBar);
    press({60, 60});
    EXPECT_THAT(results, ElementsAre(std::pair(std::optional(behind.rect), std::optional(8U))));
    make(settings);
    EXPECT_TRUE(view->keyDown(key(keyEscape)));
    EXPECT_THAT(results, ElementsAre(std::pair(std::nullopt, std::nullopt)));
}

}  // namespace
}  // namespace lumicrate::test
