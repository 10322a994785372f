// Coordinates: the one place where Qt's coordinates and the recorder's meet.
//
// The recorder counts in points with y upwards from the bottom-left corner of the main screen, a point being
// the same number of pixels everywhere. Qt has y downwards, the true pixel as each screen's origin, and
// points from there on.
#pragma once

#include "Support/Geometry.h"

#include <QPoint>
#include <QRect>
#include <QRectF>
#include <vector>

class QScreen;

namespace lumicrate::views {

/// A screen as Qt tells it.
struct QtScreen {
    QRect geometry;
    double ratio = 1;  ///< pixels in a point

    static QtScreen of(const QScreen& screen);
    /// On the root window.
    QRect pixels() const;
};

class Coordinates {
 public:
    /// The main screen first. Without any, Qt's coordinates are taken for a screen of no height.
    explicit Coordinates(std::vector<QtScreen> screens);
    /// As the screens are now.
    static Coordinates now();

    /// The number of pixels in a point.
    double scale() const { return scale_; }

    /// A rectangle of pixels, y down, in points, y up.
    Rect pointsFromPixels(const QRectF& pixels) const;
    QRectF pixelsFromPoints(const Rect& points) const;
    /// The middle of a pixel, so that it lies on its screen by any rule.
    Point pointOfPixel(const QPoint& pixel) const;
    /// A window's place in points, as Qt wants to have it; counted from the screen that shows most of it.
    QRect windowGeometry(const Rect& points) const;

 private:
    const QtScreen* screenShowing(const QRectF& pixels) const;

    std::vector<QtScreen> screens_;
    double scale_ = 1;
    double mainBottom_ = 0;  ///< in pixels
};

/// The pixel of the root window that the pointer is on.
QPoint pointerPixel();

}  // namespace lumicrate::views
