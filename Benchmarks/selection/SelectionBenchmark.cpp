// SPDX-License-Identifier: GPL-3.0-or-later
// Measures a step of a selection, from the pointer event to the pixels on the server, on a private display of
// 3840 × 2160; the same with a full repaint each time; and the time from the start of a selection to the
// dimmed screen at 1920 × 1080 with twelve windows.
//
//   lumicrate-selection-bench
#include "App/SystemServices.h"
#include "Linux/X11/Capture/WindowPictures.h"
#include "Lumicrate/Overlays/Selection/AreaSelector.h"
#include "Tests/Stage/PrivateDesktop.h"
#include "Views/Desktop/Screens.h"
#include "Views/Overlays/PanelContents.h"
#include "Views/Overlays/Selection/SelectionView.h"

#include <fmt/format.h>
#include <xcb/xcb.h>

#include <QApplication>
#include <QMouseEvent>
#include <QPainter>
#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <exception>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace lumicrate {
namespace {

using Clock = std::chrono::steady_clock;

constexpr int stepCount = 200;
constexpr double stepLength = 10;

double millisecondsSince(Clock::time_point start) {
    return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

/// Until the server has processed all requests.
void awaitServer() {
    xcb_connection_t* const x = qGuiApp->nativeInterface<QNativeInterface::QX11Application>()->connection();
    std::free(xcb_get_input_focus_reply(x, xcb_get_input_focus(x), nullptr));
}

class Bar final : public QWidget {
 public:
    QSize sizeHint() const override { return {420, 48}; }

 protected:
    void paintEvent(QPaintEvent*) override { QPainter(this).fillRect(rect(), Qt::black); }
};

/// Notes that it was painted.
class PaintWatch final : public QObject {
 public:
    explicit PaintWatch(QWidget& widget) { widget.installEventFilter(this); }
    bool take() { return std::exchange(painted_, false); }

 protected:
    bool eventFilter(QObject*, QEvent* event) override {
        painted_ = painted_ || event->type() == QEvent::Paint;
        return false;
    }

 private:
    bool painted_ = false;
};

QImage stillPicture(const QSize& size) {
    QImage still(size, QImage::Format_RGB32);
    for (int y = 0; y < size.height(); ++y)
        for (int x = 0; x < size.width(); ++x)
            still.setPixel(x, y, qRgb(x, y, x * y / 64));
    return still;
}

std::optional<SCDisplay> noDisplay(const std::string&, const Rect&) {
    return std::nullopt;
}

class Selecting {
 public:
    explicit Selecting(const QImage& still)
        : screen_(views::Screens(noDisplay).screens().front().frame),
          view_({screen_.size(), 1, {{{300, 200, 900, 600}, "A window", 7}}, false}, model_,
                [](auto, auto) {}) {
        auto overlay = std::make_unique<views::SelectionView>(
            view_, still, [](const QKeyEvent&) { return NSEvent(); }, std::make_unique<Bar>(),
            std::make_unique<Bar>());
        overlay_ = overlay.get();
        watch_.emplace(*overlay_);
        panel_ =
            contents_.content(std::move(overlay))->makePanel({screen_, 1000, false, false, true, nullptr});
        panel_->orderFrontRegardless();
        settle();
    }
    SelectionModel& view() { return view_; }

    /// The time of each step of a drag there and back.
    std::vector<double> drag(Point from, double dx, double dy, bool wholly) {
        std::vector<double> times;
        send(QEvent::MouseButtonPress, from);
        settle();
        Point at = from;
        for (int step = 0; step < stepCount; ++step) {
            const double sign = step < stepCount * 2 / 3 ? 1 : -1;
            at = {at.x + sign * dx * stepLength, at.y + sign * dy * stepLength};
            const auto start = Clock::now();
            send(QEvent::MouseMove, at);
            if (wholly) overlay_->update();
            settle();
            times.push_back(millisecondsSince(start));
        }
        send(QEvent::MouseButtonRelease, at);
        settle();
        return times;
    }

 private:
    void send(QEvent::Type type, Point at) {
        const QPointF place(at.x, screen_.height - at.y);
        QMouseEvent event(type, place, place, type == QEvent::MouseMove ? Qt::NoButton : Qt::LeftButton,
                          type == QEvent::MouseButtonRelease ? Qt::NoButton : Qt::LeftButton,
                          Qt::ControlModifier);
        QCoreApplication::sendEvent(overlay_, &event);
    }
    /// Until it is painted and on the server.
    void settle() {
        while (!watch_->take())
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
        QCoreApplication::processEvents();
        awaitServer();
    }

    Rect screen_;
    AreaToolbarModel model_{"Record", {}};
    SelectionModel view_;
    views::PanelContents contents_;
    std::unique_ptr<NSPanel> panel_;
    views::SelectionView* overlay_ = nullptr;
    std::optional<PaintWatch> watch_;
};

struct Times {
    double median;
    double high;  ///< the 95th percentile
    double worst;
};

Times summary(std::vector<double> times) {
    std::sort(times.begin(), times.end());
    return {times[times.size() / 2], times[times.size() * 95 / 100], times.back()};
}

struct Drag {
    const char* name;
    Point from;
    double dx;
    double dy;
    std::optional<Rect> selected;
};

void measureDrags(stage::Xvfb& display, bool composited) {
    if (composited) display.startCompositor();
    const QImage still = stillPicture({display.width(), display.height()});
    const Rect large{500, 300, 1800, 1200};
    const Drag drags[] = {{"drawn", {300, 1900}, 0.9, -0.5, std::nullopt},
                          {"moved", {1200, 900}, 0.9, 0.4, large},
                          {"resized", {2300, 300}, 0.9, -0.2, large}};
    for (const Drag& each : drags) {
        Times results[2];
        for (const bool wholly : {false, true}) {
            Selecting selecting(still);
            if (each.selected) selecting.view().preselect(*each.selected);
            results[wholly] = summary(selecting.drag(each.from, each.dx, each.dy, wholly));
        }
        const auto& [parts, whole] = results;
        fmt::print("{:<12} {:<8} {:7.2f} {:7.2f} {:7.2f}   {:7.2f} {:7.2f} {:7.2f}   {:6.1f}\n",
                   composited ? "composited" : "opaque", each.name, parts.median, parts.high, parts.worst,
                   whole.median, whole.high, whole.worst, whole.median / parts.median);
    }
    if (composited) display.stopCompositor();
}

/// Red of a pixel of the screen.
int brightnessAt(std::int16_t x, std::int16_t y) {
    xcb_connection_t* const connection =
        qGuiApp->nativeInterface<QNativeInterface::QX11Application>()->connection();
    const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(connection)).data->root;
    xcb_get_image_reply_t* const image = xcb_get_image_reply(
        connection, xcb_get_image(connection, XCB_IMAGE_FORMAT_Z_PIXMAP, root, x, y, 1, 1, ~0U), nullptr);
    const int red = image ? xcb_get_image_data(image)[2] : -1;
    std::free(image);
    return red;
}

/// Everything from the start of a selection to the dimmed screen: windows, still picture, overlay, bars.
class Opening {
 public:
    // As in the application, since its start.
    Opening() { system_.capture.windows(); }

    double measure() {
        const int before = brightnessAt(5, 5);
        const auto start = Clock::now();
        RunningTask selecting(system_.executor, select());
        while (brightnessAt(5, 5) >= before)
            QCoreApplication::processEvents();
        const double taken = millisecondsSince(start);
        selecting.cancel();
        while (brightnessAt(5, 5) != before)
            QCoreApplication::processEvents();
        return taken;
    }

 private:
    Task<void> select() {
        Task<std::optional<PickedArea>> selecting =
            selector_.select(screens_.screens().front(), "Record", std::nullopt, {}, false);
        co_await selecting;
    }

    app::SystemServices system_;
    views::Screens screens_{[this](const std::string&, const Rect&) {
        return std::optional(system_.capture.displays().front());
    }};
    x11::WindowPictures pictures_;
    views::PanelContents contents_;
    AreaSelector selector_{{system_.executor, system_.capture, pictures_, system_.process, screens_,
                            system_.defaults, contents_}};
};

void measureOpening(stage::Xvfb& display, bool composited) {
    if (composited) display.startCompositor();
    std::vector<std::unique_ptr<QWidget>> windows;
    for (int i = 0; i < 12; ++i) {
        windows.push_back(std::make_unique<QWidget>());
        windows.back()->setGeometry(100 + 60 * i, 80 + 40 * i, 640, 400);
        windows.back()->show();
    }
    Opening opening;
    std::vector<double> times;
    for (int i = 0; i < 21; ++i)
        times.push_back(opening.measure());
    const double first = times.front();
    const Times taken = summary(times);
    fmt::print("{:<12} {:<8} {:7.2f} {:7.2f} {:7.2f}   the first {:.2f}\n",
               composited ? "composited" : "opaque", "opened", taken.median, taken.high, taken.worst, first);
    if (composited) display.stopCompositor();
}

void run(int argc, char** argv, bool large) {
    stage::PrivateDesktop::Options options;
    options.display = {large ? 3840 : 1920, large ? 2160 : 1080, false, false};
    options.sound = false;
    stage::PrivateDesktop desktop(options);
    stage::runProgram({"xsetroot", "-solid", "#808080"});
    qputenv("QT_QPA_PLATFORM", "xcb");
    QApplication application(argc, argv);
    QApplication::setQuitOnLastWindowClosed(false);
    fmt::print("{} × {}, milliseconds: median, 95 %, worst{}\n", desktop.display().width(),
               desktop.display().height(), large ? "; the same painting everything; ratio" : "");
    for (const bool composited : {false, true})
        large ? measureDrags(desktop.display(), composited) : measureOpening(desktop.display(), composited);
}

}  // namespace
}  // namespace lumicrate

int main(int argc, char** argv) {
    try {
        for (const bool large : {true, false})
            lumicrate::run(argc, argv, large);
    } catch (const std::exception& error) {
        fmt::print(stderr, "{}\n", error.what());
        return EXIT_FAILURE;
    }
    return EXIT_SUCCESS;
}
