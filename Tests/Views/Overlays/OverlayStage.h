// What tests of overlays stand on: the private display of this program, looked at and acted on as a person
// would.
#pragma once

#include "Tests/Stage/ChildProcess.h"
#include "Tests/Stage/Picture.h"
#include "Tests/Stage/PrivateDesktop.h"
#include "Tests/Stage/Xcb.h"
#include "Views/Desktop/Coordinates.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QEventLoop>
#include <QMouseEvent>
#include <QPainter>
#include <QScreen>
#include <QTimer>
#include <QWidget>
#include <chrono>
#include <functional>
#include <string>
#include <vector>

namespace lumicrate::test {

using namespace std::chrono_literals;
using stage::Rgb;

/// Of the whole program; set by main.
inline stage::PrivateDesktop* desktop = nullptr;

constexpr int displayWidth = 1280;
constexpr int displayHeight = 720;

inline bool runUntil(const std::function<bool()>& condition, std::chrono::seconds patience = 30s) {
    const auto end = std::chrono::steady_clock::now() + patience;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end) return false;
        // Until something happens, or the screen is worth another look.
        QEventLoop loop;
        QTimer::singleShot(10ms, &loop, &QEventLoop::quit);
        loop.exec(QEventLoop::WaitForMoreEvents);
    }
    return true;
}

inline double scale() {
    return views::Coordinates::now().scale();
}

/// What is seen at a place in points, y up.
inline Rgb seenAt(double x, double y) {
    const stage::XcbConnection connection(desktop->display().displayName());
    const QPointF pixel = views::Coordinates::now().pixelsFromPoints({x, y, 0, 0}).topLeft();
    const stage::XcbReply<xcb_get_image_reply_t> image(xcb_get_image_reply(
        connection.get(),
        xcb_get_image(connection.get(), XCB_IMAGE_FORMAT_Z_PIXMAP, connection.screen()->root,
                      static_cast<std::int16_t>(pixel.x()), static_cast<std::int16_t>(pixel.y()), 1, 1, ~0U),
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
    if (came) return testing::AssertionSuccess();
    return testing::AssertionFailure()
           << "at " << x << ", " << y << ": " << seen.red << " " << seen.green << " " << seen.blue;
}

/// The same colour in front of another, by so much.
inline Rgb over(const Rgb& front, double opacity, const Rgb& back) {
    const auto mix = [opacity](int a, int b) { return static_cast<int>(a * opacity + b * (1 - opacity)); };
    return {mix(front.red, back.red), mix(front.green, back.green), mix(front.blue, back.blue)};
}

inline void xdotool(std::vector<std::string> words) {
    words.insert(words.begin(), "xdotool");
    stage::runProgram(std::move(words), {{"DISPLAY", desktop->display().displayName()}});
}

/// Moves the pointer to a place in points, y up.
inline void pointTo(double x, double y) {
    const QPointF pixel = views::Coordinates::now().pixelsFromPoints({x, y, 0, 0}).topLeft();
    xdotool({"mousemove", std::to_string(int(pixel.x())), std::to_string(int(pixel.y()))});
}

inline void clickAt(double x, double y) {
    pointTo(x, y);
    xdotool({"click", "1"});
}

/// The window of an ordinary application, in one colour, over all of the main screen; it has the keys.
class Application final : public QWidget {
 public:
    static constexpr Rgb color{60, 120, 200};

    Application() {
        setWindowFlags(Qt::FramelessWindowHint);
        setGeometry(QGuiApplication::primaryScreen()->geometry());
        show();
        EXPECT_TRUE(runUntil([this] { return isActiveWindow(); }));
        const double somewhere = displayWidth / scale() - 5;
        EXPECT_TRUE(comesToShow(somewhere, 5, color, 0));
    }

    int presses = 0;

 protected:
    void paintEvent(QPaintEvent*) override {
        QPainter(this).fillRect(rect(), QColor(color.red, color.green, color.blue));
    }
    void mousePressEvent(QMouseEvent*) override { ++presses; }
};

/// With a compositing manager, or without, from here to the end of the test.
class Composition {
 public:
    explicit Composition(bool wanted) {
        if (wanted) start();
    }
    ~Composition() { stop(); }
    Composition(const Composition&) = delete;
    Composition& operator=(const Composition&) = delete;
    void start() {
        desktop->display().startCompositor();
        runs_ = true;
    }
    void stop() {
        if (runs_) desktop->display().stopCompositor();
        runs_ = false;
    }

 private:
    bool runs_ = false;
};

}  // namespace lumicrate::test
