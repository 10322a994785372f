// SPDX-License-Identifier: GPL-3.0-or-later
#include "Views/Overlays/Selection/ScreenPixels.h"

#include <algorithm>
#include <cmath>

namespace lumicrate::views {

namespace {

/// The rounding error that a division and a multiplication may add to a whole number.
constexpr double slack = 1e-6;

QRect aligned(const QRect& rect, double factor) {
    const int left = static_cast<int>(std::floor(rect.left() * factor + slack));
    const int top = static_cast<int>(std::floor(rect.top() * factor + slack));
    const int right = static_cast<int>(std::ceil((rect.left() + rect.width()) * factor - slack));
    const int bottom = static_cast<int>(std::ceil((rect.top() + rect.height()) * factor - slack));
    return {left, top, right - left, bottom - top};
}

QRegion aligned(const QRegion& region, double factor, int margin) {
    QRegion all;
    for (const QRect& each : region)
        all += aligned(each, factor).adjusted(-margin, -margin, margin, margin);
    return all;
}

}  // namespace

bool ScreenPixels::isWhole() const {
    return scale_ == std::floor(scale_);
}

int ScreenPixels::length(double points) const {
    return static_cast<int>(std::lround(points * scale_));
}

QPointF ScreenPixels::positionOf(const Point& point) const {
    return {point.x * scale_, (screen_.height - point.y) * scale_};
}

QRect ScreenPixels::rectOf(const Rect& points) const {
    const QPoint topLeft = positionOf({points.minX(), points.maxY()}).toPoint();
    const QPoint bottomRight = positionOf({points.maxX(), points.minY()}).toPoint();
    return {topLeft, QSize(bottomRight.x() - topLeft.x(), bottomRight.y() - topLeft.y())};
}

QPoint ScreenPixels::pixelOf(const Point& point) const {
    const QPointF position = positionOf(point);
    const QRect screen = all();
    const auto within = [](double value, int last) {
        return std::clamp(static_cast<int>(std::floor(value + slack)), 0, last);
    };
    return {within(position.x(), screen.right()), within(position.y(), screen.bottom())};
}

Point ScreenPixels::pointAt(const QPointF& onWidget) const {
    const auto middle = [this](double points) {
        return (std::floor(points * scale_ + slack) + 0.5) / scale_;
    };
    return {middle(onWidget.x()), screen_.height - middle(onWidget.y())};
}

QRect ScreenPixels::widgetFrame(const Rect& points) const {
    return {QPointF(points.minX(), screen_.height - points.maxY()).toPoint(),
            QSizeF(points.width, points.height).toSize()};
}

// At fractional scales the toolkit rounds position and size separately, which may add a pixel on each side.

QRegion ScreenPixels::widgetRegion(const QRegion& pixels) const {
    return aligned(pixels, 1 / scale_, isWhole() ? 0 : 1);
}

QRegion ScreenPixels::pixelRegion(const QRegion& ofWidget) const {
    return aligned(ofWidget, scale_, isWhole() ? 0 : 1);
}

}  // namespace lumicrate::views
