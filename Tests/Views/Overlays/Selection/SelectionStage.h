// A selection on the main screen of the tests' display, over an application in one colour.
#pragma once

#include "Lumicrate/Overlays/Selection/SelectionModel.h"
#include "Tests/Views/Overlays/OverlayStage.h"
#include "Views/Desktop/Screens.h"
#include "Views/Overlays/PanelContents.h"
#include "Views/Overlays/Selection/SelectionView.h"

#include <QBackingStore>
#include <QLineEdit>
#include <memory>
#include <optional>
#include <string>
#include <utility>

namespace lumicrate::test {

/// A plain bar with two fields.
class Bar final : public QWidget {
 public:
    explicit Bar(const QSize& size) : size_(size), field_(this), other_(this) {
        field_.setGeometry(10, 5, 60, 20);
        other_.setGeometry(75, 5, 10, 20);
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
    QLineEdit other_;
};

inline NSEvent keyNamed(int qtKey) {
    NSEvent event;
    for (const auto& [key, code] :
         {std::pair(Qt::Key_F, 3), {Qt::Key_M, 46}, {Qt::Key_Escape, 53}, {Qt::Key_Right, 124}})
        if (key == qtKey) event.keyCode = code;
    return event;
}

/// One that the main screen could have, of a single colour.
inline QImage screenPicture(const Rgb& color) {
    const QSize size = views::QtScreen::of(*QGuiApplication::primaryScreen()).pixels().size();
    QImage picture(size, QImage::Format_RGB32);
    picture.fill(qRgb(color.red, color.green, color.blue));
    return picture;
}

/// Places are in points of the screen, y up.
struct Selecting {
    using Result = std::pair<std::optional<Rect>, std::optional<std::uint32_t>>;

    explicit Selecting(const QImage& still = screenPicture(Application::color)) {
        auto bars = std::pair(std::make_unique<Bar>(QSize(200, 30)), std::make_unique<Bar>(QSize(150, 30)));
        toolbar = bars.first.get();
        pickBar = bars.second.get();
        unplaced = std::make_unique<views::SelectionView>(
            view, still, [](const QKeyEvent& event) { return keyNamed(event.key()); }, std::move(bars.first),
            std::move(bars.second));
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
    const Rect screen = views::Screens(nullptr).screens().front().frame;
    std::optional<Result> result;
    AreaToolbarModel model{"Record", {}};
    const HoverTarget window{{60, 130, 200, 140}, "A window", 7};
    SelectionModel view{{screen.size(), scale(), {window}, false}, model, [this](auto rect, auto id) {
                            result = Result(rect, id);
                        }};
    views::PanelContents contents;
    Bar* toolbar = nullptr;
    Bar* pickBar = nullptr;
    std::unique_ptr<views::SelectionView> unplaced;
    views::SelectionView* overlay = nullptr;
    std::unique_ptr<NSPanel> panel;
};

}  // namespace lumicrate::test
