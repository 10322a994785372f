// SPDX-License-Identifier: GPL-3.0-or-later
// ScreenPixels: converts between the selection's points, a widget's points and the pixels of one screen.
#pragma once

#include "Support/Geometry.h"

#include <QPoint>
#include <QPointF>
#include <QRect>
#include <QRegion>

namespace lumicrate::views {

/// The selection uses points, y up from the screen's bottom left corner. A widget that covers the screen uses
/// points, y down from the top left corner. Pixels are counted down from there too.
class ScreenPixels {
 public:
    /// `screen` in points; `scale` is the number of pixels per point.
    ScreenPixels(const Size& screen, double scale) : screen_(screen), scale_(scale) {}

    double scale() const { return scale_; }
    /// A length in whole pixels.
    int length(double points) const;
    /// The whole screen.
    QRect all() const { return {0, 0, length(screen_.width), length(screen_.height)}; }

    QPointF positionOf(const Point& point) const;
    /// Each edge is moved to the nearest edge between pixels.
    QRect rectOf(const Rect& points) const;
    /// The pixel that contains a point, or the nearest pixel of the screen.
    QPoint pixelOf(const Point& point) const;
    /// The centre of the pixel at a position on the widget.
    Point pointAt(const QPointF& onWidget) const;
    /// The geometry of a child widget: the same size, with the top left corner on whole points.
    QRect widgetFrame(const Rect& points) const;

    /// The smallest part of the widget that contains these pixels, however the toolkit rounds.
    QRegion widgetRegion(const QRegion& pixels) const;
    /// All pixels that may lie in a part of the widget, however the toolkit rounds.
    QRegion pixelRegion(const QRegion& ofWidget) const;

 private:
    bool isWhole() const;

    Size screen_;
    double scale_;
};

}  // namespace lumicrate::views
