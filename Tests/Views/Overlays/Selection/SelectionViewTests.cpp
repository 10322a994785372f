// The selection on a real display: what is seen on the server, and what a real pointer and real keys do.
// Places are in points of the main screen, y up.
#include "Tests/Views/Overlays/Selection/SelectionStage.h"

#include <xcb/xfixes.h>

#include <map>

namespace lumicrate::test {
namespace {

constexpr Rgb white{255, 255, 255};
constexpr Rgb accent{0x00, 0x7a, 0xff};

class SelectionTests : public testing::Test {
 protected:
    Application application;
    Selecting selecting;
};

class ComposedSelectionTests : public testing::TestWithParam<bool> {
 protected:
    Application application;
    Composition composition{GetParam()};
    Selecting selecting;
};

INSTANTIATE_TEST_SUITE_P(Composition, ComposedSelectionTests, testing::Bool(), [](const auto& compositor) {
    return compositor.param ? "WithACompositor" : "WithoutOne";
});

TEST_P(ComposedSelectionTests, WhatIsPointedAtIsTintedAndFramed) {
    selecting.point(80, 150);
    selecting.open();
    EXPECT_TRUE(selecting.shows(61, 240, accent)) << "at the start, without the pointer's moving";
    EXPECT_TRUE(selecting.shows(259, 240, accent));
    EXPECT_TRUE(selecting.shows(70, 140, Selecting::tinted()));
    EXPECT_TRUE(selecting.showsDim(58, 240));
    selecting.point(300, 200);
    EXPECT_TRUE(selecting.shows(61, 240, Selecting::tinted())) << "as the whole screen is";
}

TEST_P(ComposedSelectionTests, WhatIsSelectedIsBrightAndHasHandles) {
    selecting.open();
    selecting.drag({40, 60}, {240, 220});
    EXPECT_TRUE(selecting.comesToSelect({40, 60, 200, 160}));
    EXPECT_TRUE(selecting.shows(140, 140, Application::color, 0));
    EXPECT_TRUE(selecting.shows(48, 212, Application::color, 0));
    EXPECT_TRUE(selecting.showsDim(30, 140));
    EXPECT_TRUE(selecting.showsDim(250, 230));
    for (const Handle each : allHandles) {
        const Point at = pointOf(each, {40, 60, 200, 160});
        EXPECT_TRUE(selecting.shows(at.x, at.y, white)) << int(each);
        EXPECT_TRUE(selecting.shows(at.x - 4.5, at.y, accent)) << int(each);
    }
    selecting.drag({140, 140}, {160, 150});
    EXPECT_TRUE(selecting.comesToSelect({60, 70, 200, 160}));
    EXPECT_TRUE(selecting.showsDim(48, 140));
    selecting.drag({260, 70}, {280, 60});
    EXPECT_TRUE(selecting.comesToSelect({60, 60, 220, 170}));
    selecting.point(150, 150);
    xdotool({"click", "--repeat", "2", "--delay", "40", "1"});
    EXPECT_TRUE(runUntil([&] { return selecting.result.has_value(); }));
    EXPECT_EQ(selecting.result->first, (Rect{60, 60, 220, 170}));
    EXPECT_EQ(application.presses, 0);
}

TEST_F(SelectionTests, ChangesOverWhenACompositingManagerComesAndGoes) {
    constexpr Rgb before{200, 220, 40};
    Selecting other(screenPicture(before));
    other.open();
    other.view.preselect({100, 100, 100, 100});
    EXPECT_TRUE(other.shows(150, 150, before, 0));
    EXPECT_TRUE(other.shows(20, 20, over({0, 0, 0}, 0.45, before)));
    Composition composition(true);
    EXPECT_TRUE(other.shows(150, 150, Application::color, 0));
    EXPECT_TRUE(other.showsDim(20, 20));
    composition.stop();
    EXPECT_TRUE(other.shows(150, 150, before, 0));
}

TEST_F(SelectionTests, AClickPicksAndTheRightButtonCancels) {
    selecting.open();
    selecting.point(100, 200);
    xdotool({"click", "1"});
    EXPECT_TRUE(selecting.comesToSelect(selecting.window.rect));
    selecting.point(20, 20);
    xdotool({"click", "3"});
    EXPECT_TRUE(runUntil([&] { return selecting.result.has_value(); }));
    EXPECT_FALSE(selecting.result->first);
}

/// The pointer's picture on the server.
std::vector<std::uint32_t> pointerPicture() {
    const stage::XcbConnection x(desktop->display().displayName());
    stage::XcbReply<xcb_xfixes_query_version_reply_t>(
        xcb_xfixes_query_version_reply(x.get(), xcb_xfixes_query_version(x.get(), 5, 0), nullptr));
    const stage::XcbReply<xcb_xfixes_get_cursor_image_reply_t> image(
        xcb_xfixes_get_cursor_image_reply(x.get(), xcb_xfixes_get_cursor_image(x.get()), nullptr));
    if (!image) return {};
    const std::uint32_t* const pixels = xcb_xfixes_get_cursor_image_cursor_image(image.get());
    return {pixels, pixels + xcb_xfixes_get_cursor_image_cursor_image_length(image.get())};
}

TEST_F(SelectionTests, TheCursorTellsWhatADragWouldDo) {
    const Rect area{60, 60, 200, 160};
    selecting.open();
    selecting.drag({60, 60}, {260, 220});
    ASSERT_TRUE(selecting.comesToSelect(area));
    std::map<Qt::CursorShape, std::vector<std::uint32_t>> pictures;
    const auto expectAt = [&](Point at, Qt::CursorShape shape) {
        selecting.point(at.x, at.y);
        EXPECT_TRUE(runUntil([&] { return selecting.overlay->cursor().shape() == shape; })) << shape;
        const bool isNew = !pictures.contains(shape);
        EXPECT_TRUE(runUntil([&] {
            const auto seen = pointerPicture();
            if (!isNew) return seen == pictures.at(shape);
            for (const auto& [other, picture] : pictures)
                if (seen == picture) return false;
            pictures[shape] = seen;
            return true;
        })) << shape;
    };
    constexpr Qt::CursorShape shapes[] = {Qt::SizeFDiagCursor, Qt::SizeVerCursor, Qt::SizeBDiagCursor,
                                          Qt::SizeHorCursor};
    for (const Handle each : allHandles)
        expectAt(pointOf(each, area), shapes[std::size_t(each) % 4]);
    expectAt({150, 150}, Qt::OpenHandCursor);
    xdotool({"mousedown", "1"});
    expectAt({152, 150}, Qt::ClosedHandCursor);
    xdotool({"mouseup", "1"});
    expectAt({20, 20}, Qt::CrossCursor);
}

TEST_F(SelectionTests, TheMagnifierHasThePixelUnderThePointerInItsMiddle) {
    QImage still = screenPicture({0, 0, 0});
    for (int y = 0; y < still.height(); ++y)
        for (int x = 0; x < still.width(); ++x)
            still.setPixel(x, y, qRgb(x * 37 % 256, y * 53 % 256, (x + y) * 101 % 256));
    Selecting other(still);
    other.open();
    other.view.keyDown(keyNamed(Qt::Key_M));
    const views::Magnifier magnifier(scale());
    const int cell = int(std::lround(8 * scale()));
    const QPoint origin = views::QtScreen::of(*QGuiApplication::primaryScreen()).pixels().topLeft();
    const QPoint places[] = {
        {300, 201}, {1, 2}, {still.width() - 1, 5}, {still.width() - 1, still.height() - 1}};
    for (const QPoint& at : places) {
        const QPoint onRoot = origin + at;
        xdotool({"mousemove", std::to_string(onRoot.x()), std::to_string(onRoot.y())});
        const QRect frame = magnifier.frame(at, still.size());
        const QPoint middle = frame.topLeft() + QPoint(frame.width(), frame.width()) / 2;
        // The corners of the enlarged pixel, and the middles of those beyond the line around it.
        for (const QPoint& cells : {QPoint(0, 0), QPoint(3, 0), QPoint(0, 3), QPoint(3, -3)}) {
            const QRgb pixel = still.valid(at + cells) ? still.pixel(at + cells) : qRgb(12, 12, 14);
            const Rgb expected{qRed(pixel), qGreen(pixel), qBlue(pixel)};
            for (const int shift : {-(cell / 2) + 1 - cell % 2, 0, (cell - 1) / 2}) {
                const QPoint seen = middle + cells * cell + QPoint(shift, shift);
                const double y = other.screen.height - seen.y() / scale();
                EXPECT_TRUE(other.shows(seen.x() / scale(), y, expected, 0))
                    << at.x() << "," << at.y() << " " << cells.x() << "," << cells.y() << " " << shift;
            }
        }
    }
}

TEST_F(SelectionTests, BarsAreWhereTheViewWantsThemAndHideWhatIsBelow) {
    selecting.open();
    EXPECT_TRUE(runUntil([&] { return selecting.pickBar->isVisible(); }));
    EXPECT_FALSE(selecting.toolbar->isVisible());
    const Rect frame = *selecting.view.appearance->pickBar;
    EXPECT_EQ(frame.size(), (Size{150, 30}));
    EXPECT_TRUE(selecting.shows(frame.minX() + 2, frame.minY() + 2, {90, 40, 120}, 0));
    selecting.point(frame.midX() + 20, frame.midY() + 40);
    EXPECT_TRUE(runUntil([&] { return selecting.view.appearance->highlighted.has_value(); }));
    selecting.point(frame.midX() + 20, frame.midY());
    EXPECT_TRUE(runUntil([&] { return !selecting.view.appearance->highlighted; }));
    xdotool({"click", "1", "click", "3"});
    selecting.pickBar->grow(20);
    EXPECT_TRUE(runUntil([&] { return selecting.pickBar->width() == 170; }));
    EXPECT_FALSE(selecting.view.appearance->selection) << "a click on the bar";
    EXPECT_FALSE(selecting.result);
    selecting.point(frame.midX() + 20, frame.midY() + 40);
    EXPECT_TRUE(runUntil([&] { return selecting.view.appearance->highlighted.has_value(); }));
    pointTo(10, 10);
    EXPECT_TRUE(runUntil([&] { return !selecting.view.appearance->highlighted; })) << "on another screen";
}

TEST_F(SelectionTests, KeysGoToTheSelectionAndTabReachesTheBars) {
    Selecting other;
    // A window of an ordinary kind, which gets the keys.
    QWidget host;
    host.setWindowFlags(Qt::FramelessWindowHint);
    host.setGeometry(QGuiApplication::primaryScreen()->geometry());
    other.unplaced.release()->setParent(&host);
    other.overlay->setGeometry(host.rect());
    other.overlay->show();
    host.show();
    ASSERT_TRUE(runUntil([&] { return other.overlay->hasFocus(); }));
    xdotool({"key", "f"});
    EXPECT_TRUE(runUntil([&] { return other.toolbar->isVisible(); }));
    EXPECT_EQ(other.view.appearance->selection, (Rect{0, 0, other.screen.width, other.screen.height}));
    xdotool({"key", "Tab"});
    EXPECT_TRUE(runUntil([&] { return other.toolbar->field().hasFocus(); }));
    xdotool({"key", "m"});
    EXPECT_TRUE(runUntil([&] { return other.toolbar->field().text() == "m"; }));
    // No press, which would take the keys from the bar: it is hidden by what the model is told.
    SelectionModel::MouseEvent press{{150, 150}, 1, false};
    other.view.mouseDown(press);
    EXPECT_TRUE(runUntil([&] { return other.overlay->hasFocus(); })) << "the bar with the keys is hidden";
    other.view.mouseUp();
    EXPECT_TRUE(runUntil([&] { return other.toolbar->isVisible(); }));
    other.toolbar->field().setFocus();
    other.point(100, 200);
    xdotool({"click", "1"});
    EXPECT_TRUE(runUntil([&] { return other.overlay->hasFocus(); })) << "by a click";
    xdotool({"key", "Escape"});
    EXPECT_TRUE(runUntil([&] { return other.result.has_value(); }));
    EXPECT_FALSE(other.result->first);
}

}  // namespace
}  // namespace lumicrate::test
