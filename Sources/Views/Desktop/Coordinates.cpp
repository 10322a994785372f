// SPDX-License-Identifier: GPL-3.0-or-later
#include "Views/Desktop/Coordinates.h"

#include "Views/Desktop/XcbConnection.h"

#include <QCursor>
#include <QGuiApplication>
#include <QScreen>
#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

namespace lumicrate::views {

namespace {

/// Undoes Qt's rounding to whole points. Several pixel lengths give the same number of points; screens have
/// an even number of pixels, which selects one. Example: 1366 pixels at 1.5 are 911 points, and 911 × 1.5 =
/// 1366.5.
int pixelsOfLength(int points, double ratio) {
    const double wide = points * ratio;
    const int even = 2 * static_cast<int>(std::lround(wide / 2));
    return std::abs(even - wide) < ratio ? even : static_cast<int>(std::lround(wide));
}

double distance(const QRectF& rect, const QPointF& point) {
    const double dx = std::max({rect.left() - point.x(), point.x() - rect.right(), 0.0});
    const double dy = std::max({rect.top() - point.y(), point.y() - rect.bottom(), 0.0});
    return std::hypot(dx, dy);
}

}  // namespace

QList<QScreen*> screensMainFirst() {
    QList<QScreen*> screens = QGuiApplication::screens();
    std::stable_partition(screens.begin(), screens.end(),
                          [](const QScreen* screen) { return screen == QGuiApplication::primaryScreen(); });
    return screens;
}

QtScreen QtScreen::of(const QScreen& screen) {
    return {screen.geometry(), screen.devicePixelRatio()};
}

QRect QtScreen::pixels() const {
    return {geometry.topLeft(),
            QSize(pixelsOfLength(geometry.width(), ratio), pixelsOfLength(geometry.height(), ratio))};
}

Coordinates::Coordinates(std::vector<QtScreen> screens) : screens_(std::move(screens)) {
    if (screens_.empty()) return;
    scale_ = screens_.front().ratio;
    const QRect main = screens_.front().pixels();
    mainBottom_ = main.y() + main.height();
}

Coordinates Coordinates::now() {
    std::vector<QtScreen> screens;
    for (const QScreen* screen : screensMainFirst())
        screens.push_back(QtScreen::of(*screen));
    return Coordinates(std::move(screens));
}

Rect Coordinates::pointsFromPixels(const QRectF& pixels) const {
    const Rect flipped{pixels.x(), mainBottom_ - pixels.y() - pixels.height(), pixels.width(),
                       pixels.height()};
    return flipped.scaledBy(1 / scale_);
}

QRectF Coordinates::pixelsFromPoints(const Rect& points) const {
    const Rect scaled = points.scaledBy(scale_);
    return {scaled.x, mainBottom_ - scaled.maxY(), scaled.width, scaled.height};
}

Point Coordinates::pointOfPixel(const QPoint& pixel) const {
    return {(pixel.x() + 0.5) / scale_, (mainBottom_ - pixel.y() - 0.5) / scale_};
}

QRect Coordinates::windowGeometry(const Rect& points) const {
    const QRectF pixels = pixelsFromPoints(points);
    const QtScreen* const screen = screenShowing(pixels);
    if (!screen) return pixels.toRect();
    const QPointF origin = screen->geometry.topLeft();
    const QPointF position = origin + (pixels.topLeft() - origin) / screen->ratio;
    return {position.toPoint(), (pixels.size() / screen->ratio).toSize()};
}

const QtScreen* Coordinates::screenShowing(const QRectF& pixels) const {
    const QtScreen* best = nullptr;
    double bestDistance = std::numeric_limits<double>::infinity();
    for (const QtScreen& screen : screens_) {
        const double here = distance(screen.pixels(), pixels.center());
        if (here >= bestDistance) continue;
        best = &screen;
        bestDistance = here;
    }
    return best;
}

QPoint pointerPixel() {
    xcb_connection_t* const x = xcbConnection();
    if (!x) return QCursor::pos();
    const XcbReply<xcb_query_pointer_reply_t> reply(
        xcb_query_pointer_reply(x, xcb_query_pointer(x, xcbRoot()), nullptr));
    return reply ? QPoint(reply->root_x, reply->root_y) : QPoint();
}

}  // namespace lumicrate::views
