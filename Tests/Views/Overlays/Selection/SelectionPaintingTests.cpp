// What is painted anew: little, and so that nothing differs from painting everything.
#include "Tests/Views/Overlays/Selection/SelectionStage.h"

#include <random>

namespace lumicrate::test {
namespace {

/// Adds up what a widget is asked to paint.
class PaintCounter final : public QObject {
 public:
    explicit PaintCounter(QWidget& widget) { widget.installEventFilter(this); }
    double take() { return std::exchange(area_, 0); }

 protected:
    bool eventFilter(QObject*, QEvent* event) override {
        if (event->type() != QEvent::Paint) return false;
        for (const QRect& each : static_cast<QPaintEvent*>(event)->region())
            area_ += double(each.width()) * each.height();
        return false;
    }

 private:
    double area_ = 0;
};

class PaintingTests : public testing::Test {
 protected:
    void SetUp() override {
        // Out of the way, so that only what is sent moves the selection.
        pointTo(10, 10);
        selecting.open();
    }
    void send(QEvent::Type type, Point at, Qt::MouseButtons buttons) {
        const QPointF place(at.x, selecting.screen.height - at.y);
        const auto button = type == QEvent::MouseMove ? Qt::NoButton : Qt::LeftButton;
        QMouseEvent event(type, place, place, button, buttons, Qt::ControlModifier);
        QCoreApplication::sendEvent(selecting.overlay, &event);
    }
    static void settle() {
        QCoreApplication::sendPostedEvents();
        QCoreApplication::processEvents();
        QCoreApplication::sendPostedEvents();
    }

    Application application;
    Selecting selecting;
};

TEST_F(PaintingTests, AStepOfADragPaintsLittle) {
    PaintCounter counter(*selecting.overlay);
    const double all = selecting.screen.width * selecting.screen.height;
    selecting.view.preselect({10, 10, selecting.screen.width - 100, selecting.screen.height - 40});
    send(QEvent::MouseButtonPress, {150, 150}, Qt::LeftButton);
    settle();
    for (int step = 1; step <= 4; ++step) {
        counter.take();
        // Twenty pixels.
        send(QEvent::MouseMove, {150 + 20 * step / scale(), 150}, Qt::LeftButton);
        settle();
        const double part = counter.take() / all;
        EXPECT_LT(part, 0.15);
        EXPECT_GT(part, 0.02);
    }
    send(QEvent::MouseMove, {150 + 80 / scale(), 150}, Qt::LeftButton);
    settle();
    EXPECT_EQ(counter.take(), 0) << "nothing changes";
}

TEST_F(PaintingTests, PartsAreAsIfAllWerePainted) {
    std::mt19937 random(7);
    const auto upTo = [&random](double end) { return std::uniform_real_distribution<>(0, end)(random); };
    const auto somewhere = [&] { return Point{upTo(selecting.screen.width), upTo(selecting.screen.height)}; };
    for (int round = 0; round < 60; ++round) {
        if (round % 20 == 0) selecting.overlay->setComposited(round != 20);
        if (round % 7 == 0) selecting.model.aspect = AspectPreset(round / 7 % 4);
        if (round % 5 == 0) selecting.toolbar->grow(round % 3 - 1);
        selecting.view.keyDown(keyNamed(round % 3 == 0 ? Qt::Key_M : Qt::Key_Right));
        // Now and then on what there is, so that it is moved or resized.
        const auto area = selecting.view.appearance->selection;
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
        const QImage parts = selecting.backing();
        selecting.overlay->repaint();
        ASSERT_TRUE(parts == selecting.backing()) << "round " << round;
    }
}

}  // namespace
}  // namespace lumicrate::test
