// A selection on the main screen of the tests' display, over an application in one colour.
#pragma once

#include "Lumicrate/Overlays/SelectionView.h"
#include "Tests/Views/Overlays/OverlayStage.h"
#include "Views/Overlays/PanelContents.h"
#include "Views/Overlays/Selection/SelectionOverlay.h"
#include "Views/Screens.h"

#include <QBackingStore>
#include <QLineEdit>
#include <memory>
#include <optional>
#include <string>
#include <utility>

namespace lumicrate::test {

/// A plain bar with a field.
class Bar final : public QWidget {
 public:
    explicit Bar(const QSize& size) : size_(size), field_(this) {
        field_.setGeometry(10, 5, 60, 20);
        setObjectName("bar");
    }
    QSize sizeHint() const override { return size_; }
    void grow(int by) {
        size_.rwidth() += by;
        updateGeometry();
    }
    QLineEdit& field() { return field_; }

 protected:
    void paintEvent(QPaintEvent*) override { QPainter(this).fillRect(rect(), QColor(90, 40, 120)); }

 private:
    QSize size_;
    QLineEdit field_;
};

/// Letters and few keys more.
inline NSEvent translated(const QKeyEvent& pressed) {
    NSEvent event;
    switch (pressed.key()) {
        case Qt::Key_F:
            event.keyCode = 3;
            break;
        case Qt::Key_M:
            event.keyCode = 46;
            break;
        case Qt::Key_Escape:
            event.keyCode = 53;
            break;
        default:
            break;
    }
    return event;
}

/// Places are in points of the screen, y up.
struct Selecting {
    using Result = std::pair<std::optional<Rect>, std::optional<std::uint32_t>>;

    /// Without a picture of its own the screen is taken for what the application shows.
    explicit Selecting(const NSScreen& on, QImage still = {}) : screen(on.frame) {
        const QSize pixels = (QSizeF(screen.width, screen.height) * scale()).toSize();
        if (still.isNull()) {
            still = QImage(pixels, QImage::Format_RGB32);
            still.fill(qRgb(Application::color.red, Application::color.green, Application::color.blue));
        }
        auto bars = std::pair(std::make_unique<Bar>(QSize(200, 30)), std::make_unique<Bar>(QSize(150, 30)));
        toolbar = bars.first.get();
        pickBar = bars.second.get();
        unplaced = std::make_unique<views::SelectionOverlay>(view, std::move(still), translated,
                                                             std::move(bars.first), std::move(bars.second));
        overlay = unplaced.get();
    }
    /// In a panel over its screen.
    void open() {
        panel = contents.content(std::move(unplaced))
                    ->makePanel({screen, NSPanel::screenSaverLevel, false, false, true, nullptr});
        panel->orderFrontRegardless();
        EXPECT_TRUE(runUntil([this] { return seenAt(screen.x + 5, 5) != Application::color; }));
    }
    /// In the pixel whose top left corner is there.
    testing::AssertionResult shows(double x, double y, const Rgb& color, int tolerance = 2) const {
        return comesToShow(screen.x + x + hair, screen.y + y - hair, color, tolerance);
    }
    testing::AssertionResult showsDim(double x, double y) const { return shows(x, y, dimmed()); }
    static Rgb tinted() { return over({0x00, 0x7a, 0xff}, 0.12, dimmed()); }
    static Rgb dimmed() { return over({0, 0, 0}, 0.45, Application::color); }
    void point(double x, double y) const { pointTo(screen.x + x + hair, screen.y + y - hair); }
    /// With Control held.
    void drag(Point from, Point to) const {
        xdotool({"keydown", "ctrl"});
        point(from.x, from.y);
        xdotool({"mousedown", "1"});
        point((from.x + to.x) / 2, (from.y + to.y) / 2);
        point(to.x, to.y);
        xdotool({"mouseup", "1", "keyup", "ctrl"});
    }
    bool comesToSelect(const Rect& rect) const {
        return runUntil(
            [&] { return !view.appearance->handles.empty() && view.appearance->selection == rect; });
    }
    /// What is in the window's memory.
    QImage backing() const { return static_cast<QImage*>(overlay->backingStore()->paintDevice())->copy(); }

    /// Keeps what is between pixels from being the wrong one's.
    static constexpr double hair = 1e-3;
    Rect screen;
    std::optional<Result> result;
    AreaToolbarModel model{"Record", {}};
    const HoverTarget window{{60, 130, 200, 140}, "A window", 7};
    SelectionView view{{screen.size(), scale(), {window}, false}, model, [this](auto rect, auto id) {
                           result = Result(rect, id);
                       }};
    views::PanelContents contents;
    Bar* toolbar = nullptr;
    Bar* pickBar = nullptr;
    std::unique_ptr<views::SelectionOverlay> unplaced;
    views::SelectionOverlay* overlay = nullptr;
    std::unique_ptr<NSPanel> panel;
};

inline NSScreen mainScreen() {
    return views::Screens(nullptr).screens().front();
}

}  // namespace lumicrate::test
