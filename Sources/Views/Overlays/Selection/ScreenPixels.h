// ScreenPixels: where the selection's points, a widget's points and the pixels of one screen meet.
#pragma once

#include "Support/Geometry.h"

#include <QPoint>
#include <QPointF>
#include <QRect>
#include <QRegion>

namespace lumicrate::views {

/// The selection counts in points, y up from the screen's bottom left corner; a widget that covers the screen
/// in points, y down from the top left one; pixels go down from there, too.
class ScreenPixels {
 public:
    /// `screen` in points; `scale` is the number of pixels in a point.
    ScreenPixels(const Size& screen, double scale) : screen_(screen), scale_(scale) {}

    double scale() const { return scale_; }
    /// So many points, in whole pixels.
    int length(double points) const;
    /// The whole screen.
    QRect all() const { return {0, 0, length(screen_.width), length(screen_.height)}; }

    QPointF positionOf(const Point& point) const;
    /// With each edge on the nearest one of pixels.
    QRect rectOf(const Rect& points) const;
    /// The pixel that a point lies in, or the nearest of the screen.
    QPoint pixelOf(const Point& point) const;
    /// The middle of the pixel that a place on the widget lies in.
    Point pointAt(const QPointF& onWidget) const;
    /// For a child widget: of that size, with its top left corner on whole points.
    QRect widgetFrame(const Rect& points) const;

    /// The least part of the widget that has all of these pixels, however the toolkit rounds.
    QRegion widgetRegion(const QRegion& pixels) const;
    /// All pixels that are in a part of the widget, however the toolkit rounds.
    QRegion pixelRegion(const QRegion& ofWidget) const;

 private:
    bool isWhole() const;

    Size screen_;
    double scale_;
};

}  // namespace lumicrate::views
