// SPDX-License-Identifier: GPL-3.0-or-later
// SelectionView on a real display: what is painted, and what a real pointer and real keys do. Positions are
// in points of the main screen, y up.
#include "Lumicrate/Overlays/Selection/SelectionModel.h"
#include "Tests/Views/Overlays/OverlayStage.h"
#include "Views/Overlays/Selection/SelectionView.h"

#include <QAbstractButton>
#include <QBackingStore>
#include <QKeyEvent>
#include <QLineEdit>
#include <random>

namespace lumicrate::test {
namespace {

constexpr Rgb white{255, 255, 255};
constexpr Rgb accent{0x00, 0x7a, 0xff};
constexpr Rgb barColor{90, 40, 120};

struct Bar final : public QWidget {
    explicit Bar(int width) : field(this), size(width, 30) {
        field.setGeometry(10, 5, 60, 20);
        setAutoFillBackground(true);
        setPalette(QColor(barColor.red, barColor.green, barColor.blue));
    }
    QSize sizeHint() const override { return size; }
    void grow(int by) {
        size.rwidth() += by;
        updateGeometry();
    }
    QLineEdit field;
    QSize size;
};

NSEvent translated(int qtKey) {
    return {qtKey == Qt::Key_M ? 46 : qtKey == Qt::Key_Right ? 124 : -1, 0, {}, {}};
}

class SelectionViewTests : public OverlayStageTests {
 protected:
    /// Over the main screen, with a picture of it.
    void open(const QImage& still = pictureOf(Application::color)) {
        auto bars = std::pair(std::make_unique<Bar>(200), std::make_unique<Bar>(150));
        toolbar = bars.first.get();
        pickBar = bars.second.get();
        auto view = std::make_unique<views::SelectionView>(
            model, still, [](const QKeyEvent& event) { return translated(event.key()); },
            std::move(bars.first), std::move(bars.second));
        overlay = view.get();
        panel = contents.content(std::move(view))
                    ->makePanel({screen, NSPanel::screenSaverLevel, false, false, true, nullptr});
        panel->makeKeyAndOrderFront();
        EXPECT_TRUE(runUntil([this] { return seenAt(screen.x + 5, 5) != Application::color; }));
    }
    /// In the pixel whose top left corner is there.
    testing::AssertionResult shows(double x, double y, const Rgb& color, int tolerance = 2) const {
        return comesToShow(screen.x + x + insidePixel, screen.y + y - insidePixel, color, tolerance);
    }
    void point(double x, double y) const { pointTo(screen.x + x + insidePixel, screen.y + y - insidePixel); }
    /// With Control held, so that nothing snaps.
    void drag(Point from, Point to) const {
        xdotool({"keydown", "ctrl"});
        point(from.x, from.y);
        xdotool({"mousedown", "1"});
        point((from.x + to.x) / 2, (from.y + to.y) / 2);
        point(to.x, to.y);
        xdotool({"mouseup", "1", "keyup", "ctrl"});
    }
    const SelectionAppearance& seen() const { return *model.appearance; }
    bool comesToSelect(const Rect& rect) const {
        return runUntil([&] { return !seen().handles.empty() && seen().selection == rect; });
    }
    bool comesToHighlight(bool something) const {
        return runUntil([&] { return seen().highlighted.has_value() == something; });
    }

    /// Keeps positions on pixel boundaries inside of the intended pixel despite rounding.
    static constexpr double insidePixel = 1e-3;
    const Rect screen = main.frame;
    std::optional<std::optional<Rect>> result;
    AreaToolbarModel toolbarModel{"Record", {}};
    const HoverTarget window{{60, 130, 200, 140}, "A window", 7};
    SelectionModel model{
        {screen.size(), scale(), {window}, false}, toolbarModel, [this](auto rect, auto) { result = rect; }};
    Bar* toolbar = nullptr;
    Bar* pickBar = nullptr;
    views::SelectionView* overlay = nullptr;
    std::unique_ptr<NSPanel> panel;
};

TEST_F(SelectionViewTests, PassesPointerAndKeysToTheModel) {
    open();
    drag({60, 60}, {280, 230});
    EXPECT_TRUE(comesToSelect({60, 60, 220, 170}));
    xdotool({"key", "Tab"});
    EXPECT_TRUE(runUntil([&] { return toolbar->field.hasFocus(); }));
    xdotool({"key", "m"});
    EXPECT_TRUE(runUntil([&] { return toolbar->field.text() == "m"; }));
    // A press through the model hides the bar, but does not move the focus as a real one would.
    model.mouseDown({{150, 150}, 1, false});
    EXPECT_TRUE(runUntil([&] { return overlay->hasFocus(); })) << "the bar with the focus is hidden";
    model.mouseUp();
    EXPECT_TRUE(runUntil([&] { return toolbar->isVisible(); }));
    toolbar->field.setFocus();
    point(20, 20);
    xdotool({"click", "1"});
    EXPECT_TRUE(runUntil([&] { return overlay->hasFocus(); })) << "a click moves the focus";
    xdotool({"key", "m"});
    EXPECT_TRUE(runUntil([&] { return seen().magnified.has_value(); }));
    point(150, 150);
    xdotool({"click", "--repeat", "2", "--delay", "40", "1"});
    EXPECT_TRUE(runUntil([&] { return result.has_value(); }));
    EXPECT_EQ(*result, (Rect{0, 0, screen.width, screen.height}));
    EXPECT_EQ(application.presses, 0);
}

TEST_F(SelectionViewTests, BarsHideWhatIsBelow) {
    open();
    const Rect frame = *seen().pickBar;
    EXPECT_EQ(frame.size(), (Size{150, 30}));
    EXPECT_FALSE(toolbar->isVisible());
    EXPECT_TRUE(shows(frame.minX() + 2, frame.minY() + 2, barColor, 0));
    const double x = frame.midX() + 20;
    point(x, frame.midY() + 40);
    EXPECT_TRUE(comesToHighlight(true));
    point(x, frame.midY());
    EXPECT_TRUE(comesToHighlight(false));
    EXPECT_EQ(pickBar->cursor().shape(), Qt::ArrowCursor);
    xdotool({"click", "1", "click", "3"});
    pickBar->grow(20);
    EXPECT_TRUE(runUntil([&] { return pickBar->width() == 170; }));
    EXPECT_FALSE(seen().selection || result) << "clicks on the bar have no effect";
    point(x, frame.midY() + 40);
    EXPECT_TRUE(comesToHighlight(true));
    pointTo(10, 10);
    EXPECT_TRUE(comesToHighlight(false)) << "on another screen";
    point(20, 20);
    xdotool({"click", "3"});
    EXPECT_TRUE(runUntil([&] { return result.has_value(); }));
    EXPECT_FALSE(*result) << "the right button cancels";
}

TEST_F(SelectionViewTests, CoversAreOpaqueAndHaveAButton) {
    constexpr Rgb covered{40, 40, 40};
    open();
    model.preselect({60, 60, 220, 170});
    model.setCovering(true);
    drag({80, 80}, {180, 150});
    // Every point that the drag touches.
    EXPECT_TRUE(runUntil([&] { return model.covers() == std::vector{Rect{80, 79, 101, 71}}; }));
    EXPECT_TRUE(shows(90, 140, covered, 0));
    EXPECT_TRUE(runUntil([&] { return overlay->accessibleDescription().contains("Cover 1 of 1: "); }));
    auto* const remove = overlay->findChild<QAbstractButton*>("removeCover");
    EXPECT_TRUE(runUntil([&] { return remove->isVisible(); }));
    const Rect button = *seen().removeButton;
    point(button.midX(), button.midY());
    xdotool({"click", "1"});
    EXPECT_TRUE(runUntil([&] { return seen().covers.empty() && !remove->isVisible(); }));
    EXPECT_TRUE(shows(90, 140, Application::color));
}

TEST_F(SelectionViewTests, CursorShowsWhatADragWouldDo) {
    const Rect area{60, 60, 200, 160};
    open();
    model.preselect(area);
    const auto expectAt = [&](Point at, Qt::CursorShape shape) {
        point(at.x, at.y);
        // The panel has the same cursor, for the pixels on which the toolkit misses the view.
        EXPECT_TRUE(runUntil([&] {
            return overlay->cursor().shape() == shape && overlay->window()->cursor().shape() == shape;
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

class SelectionPixelTests : public SelectionViewTests {
 protected:
    void send(QEvent::Type type, Point at, Qt::MouseButtons buttons) {
        const QPointF place(at.x, screen.height - at.y);
        const auto button = type == QEvent::MouseMove ? Qt::NoButton : Qt::LeftButton;
        QMouseEvent event(type, place, place, button, buttons, Qt::ControlModifier);
        QCoreApplication::sendEvent(overlay, &event);
    }
    static void settle() {
        QCoreApplication::sendPostedEvents();
        QCoreApplication::processEvents();
        QCoreApplication::sendPostedEvents();
    }
};

TEST_F(SelectionPixelTests, MagnifierCentresThePixelUnderThePointer) {
    QImage still = pictureOf({});
    for (int y = 0; y < still.height(); ++y)
        for (int x = 0; x < still.width(); ++x)
            still.setPixel(x, y, qRgb(x * 37 % 256, y * 53 % 256, (x + y) * 101 % 256));
    open(still);
    model.keyDown(translated(Qt::Key_M));
    const views::Magnifier magnifier(scale());
    const int cell = int(std::lround(8 * scale()));
    const QPoint origin = views::QtScreen::of(*QGuiApplication::primaryScreen()).pixels().topLeft();
    const int right = still.width() - 1;
    for (const QPoint& at : {QPoint(300, 201), {1, 2}, {right, 5}, {right, still.height() - 1}}) {
        pointToPixel(origin + at);
        const QRect frame = magnifier.frame(at, still.size());
        const QPoint middle = frame.topLeft() + QPoint(frame.width(), frame.width()) / 2;
        // The corners and the middle of the enlarged pixel, and of some beyond the frame around it.
        for (const QPoint& cells : {QPoint(0, 0), {3, 0}, {0, 3}, {3, -3}}) {
            const QRgb pixel = still.valid(at + cells) ? still.pixel(at + cells) : qRgb(12, 12, 14);
            for (const int shift : {-(cell / 2) + 1 - cell % 2, 0, (cell - 1) / 2}) {
                const QPoint place = middle + cells * cell + QPoint(shift, shift);
                EXPECT_TRUE(shows(place.x() / scale(), screen.height - place.y() / scale(),
                                  {qRed(pixel), qGreen(pixel), qBlue(pixel)}, 0))
                    << at.x() << " " << cells.x() << "," << cells.y() << " " << shift;
            }
        }
    }
}

TEST_F(SelectionPixelTests, PartialRepaintsGiveTheSamePixelsAsFullOnes) {
    pointTo(10, 10);
    open();
    const auto backing = [&] { return static_cast<QImage*>(overlay->backingStore()->paintDevice())->copy(); };
    std::mt19937 random(7);
    const auto upTo = [&random](double end) { return std::uniform_real_distribution<>(0, end)(random); };
    const auto somewhere = [&] { return Point{upTo(screen.width), upTo(screen.height)}; };
    for (int round = 0; round < 60; ++round) {
        if (round % 20 == 0) overlay->setComposited(round != 20);
        if (round % 7 == 0) toolbarModel.aspect = AspectPreset(round / 7 % 4);
        model.setCovering(round % 8 > 4);
        if (round % 5 == 0) toolbar->grow(round % 3 - 1);
        model.keyDown(translated(round % 3 == 0 ? Qt::Key_M : Qt::Key_Right));
        // Sometimes on the selection, to move or resize it.
        const auto area = seen().selection;
        Point at = somewhere();
        if (area && round % 4 == 1) at = {area->midX(), area->midY()};
        if (area && round % 4 == 2) at = pointOf(allHandles[std::size_t(round) / 4 % 8], *area);
        send(QEvent::MouseMove, at, Qt::NoButton);
        settle();
        send(QEvent::MouseButtonPress, at, Qt::LeftButton);
        for (int step = 0; step < 12; ++step) {
            at = step % 6 == 5 ? somewhere() : Point{at.x + upTo(24) - 12, at.y + upTo(24) - 12};
            send(QEvent::MouseMove, at, Qt::LeftButton);
            if (step % 3 != 0) settle();
        }
        if (round % 2 == 0) send(QEvent::MouseButtonRelease, at, Qt::NoButton);
        settle();
        const QImage parts = backing();
        overlay->repaint();
        ASSERT_TRUE(parts == backing()) << "round " << round;
    }
}

class ComposedSelectionPixelTests : public SelectionPixelTests, public testing::WithParamInterface<bool> {
    Composition composition{GetParam()};
};

INSTANTIATE_TEST_SUITE_P(Composition, ComposedSelectionPixelTests, testing::Bool(), compositionName);

TEST_P(ComposedSelectionPixelTests, TargetIsTintedAndTheSelectionBright) {
    constexpr Rgb stillColor{200, 220, 40};
    const Rgb bright = GetParam() ? Application::color : stillColor;
    const Rgb dark = over({0, 0, 0}, 0.45, bright);
    const Rgb tinted = over(accent, 0.12, dark);
    point(80, 150);
    open(pictureOf(stillColor));
    EXPECT_TRUE(shows(61, 240, accent)) << "before the pointer moves";
    EXPECT_TRUE(shows(259, 240, accent));
    EXPECT_TRUE(shows(70, 140, tinted));
    EXPECT_TRUE(shows(58, 240, dark));
    point(300, 200);
    EXPECT_TRUE(shows(61, 240, tinted)) << "like the whole screen";
    drag({40, 60}, {240, 220});
    EXPECT_TRUE(comesToSelect({40, 60, 200, 160}));
    EXPECT_TRUE(shows(140, 140, bright, 0));
    EXPECT_TRUE(shows(48, 212, bright, 0));
    EXPECT_TRUE(shows(250, 230, dark));
    for (const Handle each : allHandles) {
        const Point at = pointOf(each, {40, 60, 200, 160});
        EXPECT_TRUE(shows(at.x, at.y, white)) << int(each);
        EXPECT_TRUE(shows(at.x - 4.5, at.y, accent)) << int(each);
    }
    drag({140, 140}, {160, 150});
    EXPECT_TRUE(comesToSelect({60, 70, 200, 160}));
    EXPECT_TRUE(shows(48, 140, dark));
}

}  // namespace
}  // namespace lumicrate::test
