// SPDX-License-Identifier: GPL-3.0-or-later
// Magnifier: the pixels around the pointer, enlarged, with the position and the colour of the pixel under it.
#pragma once

#include <QColor>
#include <QImage>
#include <QPoint>
#include <QRect>
#include <QSize>

class QPainter;

namespace lumicrate::views {

/// The top left corner of a box beside the pointer: below and to the right of it, or on the other side where
/// there is no room. The box covers neither the pointer nor anything beyond the screen, provided that at
/// least one side of the screen has room for the box, the gap and the pointer. Pixels.
QPoint placeBesidePointer(const QSize& box, const QPoint& pointer, const QSize& screen, int gap);

/// Uses pixels everywhere: in the picture of the screen and on the painter.
class Magnifier {
 public:
    /// The number of pixels shown in each direction.
    static constexpr int count = 15;

    explicit Magnifier(double scale);

    /// The magnifier's place while the pointer is on that pixel of the screen.
    QRect frame(const QPoint& pixel, const QSize& screen) const;
    /// Paints the magnifier into its frame. `picture` shows the whole screen.
    void paint(QPainter& painter, const QRect& frame, const QPoint& pixel, const QImage& picture) const;

 private:
    void paintPixels(QPainter& painter, const QPoint& corner, const QPoint& pixel,
                     const QImage& picture) const;
    void paintText(QPainter& painter, const QRect& frame, const QPoint& pixel, const QColor& color) const;

    double scale_;
    int cell_;  ///< the side of an enlarged pixel
    int padding_;
};

}  // namespace lumicrate::views
