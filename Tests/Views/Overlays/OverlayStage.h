// SPDX-License-Identifier: GPL-3.0-or-later
// The private display that the overlay tests share, and helpers to look at it and to act on it as a user
// would. Positions are in points, y up.
#pragma once

#include "Tests/Stage/ChildProcess.h"
#include "Tests/Stage/Picture.h"
#include "Tests/Stage/PrivateDesktop.h"
#include "Tests/Stage/Xcb.h"
#include "Tests/Support/VirtualExecutor.h"
#include "Views/Desktop/Coordinates.h"
#include "Views/Desktop/Screens.h"
#include "Views/Overlays/PanelContents.h"

#include <QApplication>
#include <QEventLoop>
#include <QMouseEvent>
#include <QPainter>
#include <QScreen>
#include <QTimer>
#include <QWidget>

namespace lumicrate::test {

using namespace std::chrono_literals;
using stage::Rgb;

constexpr int displayWidth = 1280;
constexpr int displayHeight = 720;
constexpr std::uint32_t mainID = 7;
constexpr std::uint32_t leftID = 8;

/// Set by main. The main screen is 880 pixels wide, with another one to its left.
inline stage::PrivateDesktop* desktop = nullptr;

inline views::Screens testScreens() {
    return views::Screens([](const std::string& connector, const Rect&) {
        return std::optional(SCDisplay{connector == "MAIN" ? mainID : leftID, {}, 1, connector});
    });
}

inline bool runUntil(const std::function<bool()>& condition) {
    const auto end = std::chrono::steady_clock::now() + 30s;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end) return false;
        // Until an event arrives, or the screen is worth another look.
        QEventLoop loop;
        QTimer::singleShot(10ms, &loop, &QEventLoop::quit);
        loop.exec(QEventLoop::WaitForMoreEvents);
    }
    return true;
}

inline double scale() {
    return views::Coordinates::now().scale();
}

inline QPoint pixelAt(double x, double y) {
    const QPointF pixel = views::Coordinates::now().pixelsFromPoints({x, y, 0, 0}).topLeft();
    return {int(pixel.x()), int(pixel.y())};
}

inline Rgb seenAt(double x, double y) {
    const stage::XcbConnection connection(desktop->display().displayName());
    const QPoint pixel = pixelAt(x, y);
    const stage::XcbReply<xcb_get_image_reply_t> image(xcb_get_image_reply(
        connection.get(),
        xcb_get_image(connection.get(), XCB_IMAGE_FORMAT_Z_PIXMAP, connection.screen()->root,
                      std::int16_t(pixel.x()), std::int16_t(pixel.y()), 1, 1, ~0U),
        nullptr));
    if (!image) return {-1, -1, -1};
    const std::uint8_t* const bgr = xcb_get_image_data(image.get());
    return {bgr[2], bgr[1], bgr[0]};
}

/// Runs the event loop until about that colour is seen there.
inline testing::AssertionResult comesToShow(double x, double y, const Rgb& color, int tolerance = 12) {
    Rgb seen;
    const bool came = runUntil([&] {
        seen = seenAt(x, y);
        return seen.distanceTo(color) <= tolerance;
    });
    return (came ? testing::AssertionSuccess() : testing::AssertionFailure())
           << "at " << x << ", " << y << ": " << seen.red << " " << seen.green << " " << seen.blue;
}

/// `front` painted over `back`.
inline Rgb over(const Rgb& front, double opacity, const Rgb& back) {
    const auto mix = [opacity](int a, int b) { return static_cast<int>(a * opacity + b * (1 - opacity)); };
    return {mix(front.red, back.red), mix(front.green, back.green), mix(front.blue, back.blue)};
}

inline std::string xdotool(std::vector<std::string> words) {
    words.insert(words.begin(), "xdotool");
    return stage::runProgram(std::move(words), {{"DISPLAY", desktop->display().displayName()}});
}

inline void pointToPixel(const QPoint& pixel) {
    xdotool({"mousemove", std::to_string(pixel.x()), std::to_string(pixel.y())});
}
inline void pointTo(double x, double y) {
    pointToPixel(pixelAt(x, y));
}
inline void clickAt(double x, double y) {
    pointTo(x, y);
    xdotool({"click", "1"});
}

/// The centre of a widget.
inline Point middleOf(const QWidget& part) {
    const QPoint inside = part.mapTo(part.window(), part.rect().center());
    const QPointF origin = part.screen()->geometry().topLeft();
    const QPointF place = part.window()->geometry().topLeft() + inside;
    return views::Coordinates::now().pointOfPixel((origin + (place - origin) * scale()).toPoint());
}
inline void clickOn(const QWidget& part) {
    const Point at = middleOf(part);
    clickAt(at.x, at.y);
}

/// A picture of the main screen in one colour.
inline QImage pictureOf(const Rgb& color) {
    QImage picture(views::QtScreen::of(*QGuiApplication::primaryScreen()).pixels().size(),
                   QImage::Format_RGB32);
    picture.fill(qRgb(color.red, color.green, color.blue));
    return picture;
}

/// The window of an ordinary application in one colour, over the whole main screen. It has the keyboard.
class Application final : public QWidget {
 public:
    static constexpr Rgb color{60, 120, 200};

    Application() {
        setWindowFlags(Qt::FramelessWindowHint);
        setGeometry(QGuiApplication::primaryScreen()->geometry());
        show();
        EXPECT_TRUE(runUntil([this] { return isActiveWindow(); }));
        EXPECT_TRUE(comesToShow(displayWidth / scale() - 5, 5, color, 0));
    }

    int presses = 0;

 protected:
    void paintEvent(QPaintEvent*) override {
        QPainter(this).fillRect(rect(), QColor(color.red, color.green, color.blue));
    }
    void mousePressEvent(QMouseEvent*) override { ++presses; }
};

/// Panels over an application on the main screen.
class OverlayStageTests : public testing::Test {
 protected:
    Application application;
    views::Screens screens = testScreens();
    NSScreen main = screens.screens().front();
    views::PanelContents contents;
    VirtualExecutor executor;
};

/// Runs a compositing manager, or none, until the end of the test.
class Composition {
 public:
    explicit Composition(bool wanted) : runs_(wanted) {
        if (runs_) desktop->display().startCompositor();
    }
    ~Composition() { stop(); }
    void stop() {
        if (std::exchange(runs_, false)) desktop->display().stopCompositor();
    }

 private:
    bool runs_;
};

inline std::string compositionName(const testing::TestParamInfo<bool>& info) {
    return info.param ? "WithACompositor" : "WithoutOne";
}

}  // namespace lumicrate::test
