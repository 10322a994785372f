// SPDX-License-Identifier: GPL-3.0-or-later
// Coordinates: converts between Qt's coordinates and the recorder's.
//
// The recorder uses points with y upwards from the bottom-left corner of the main screen; a point has the
// same number of pixels everywhere. Qt uses y downwards; a screen's origin is in pixels, and distances from
// it are in points. Example: on a screen at (1600, 200) with scale 2, Qt's (1610, 210) is the pixel (1620,
// 220).
#pragma once

#include "Support/Geometry.h"

#include <QList>
#include <QPoint>
#include <QRect>
#include <QRectF>
#include <vector>

class QScreen;

namespace lumicrate::views {

QList<QScreen*> screensMainFirst();

/// A screen as Qt reports it.
struct QtScreen {
    QRect geometry;
    double ratio = 1;  ///< pixels in a point

    static QtScreen of(const QScreen& screen);
    /// The screen's rectangle on the root window, pixels.
    QRect pixels() const;
};

class Coordinates {
 public:
    /// The main screen comes first. Without screens, the origin is the top left corner of the root window.
    explicit Coordinates(std::vector<QtScreen> screens);
    /// For the present screens.
    static Coordinates now();

    /// The number of pixels in a point.
    double scale() const { return scale_; }

    /// A rectangle of pixels, y down, in points, y up.
    Rect pointsFromPixels(const QRectF& pixels) const;
    QRectF pixelsFromPoints(const Rect& points) const;
    /// The centre of a pixel, which lies on its screen whichever edges count as inside.
    Point pointOfPixel(const QPoint& pixel) const;
    /// The geometry to give a Qt window that shall cover `points`, relative to the screen that its centre is
    /// nearest to.
    QRect windowGeometry(const Rect& points) const;

 private:
    const QtScreen* screenShowing(const QRectF& pixels) const;

    std::vector<QtScreen> screens_;
    double scale_ = 1;
    double mainBottom_ = 0;  ///< in pixels
};

/// The pointer's position on the root window, pixels.
QPoint pointerPixel();

}  // namespace lumicrate::views
