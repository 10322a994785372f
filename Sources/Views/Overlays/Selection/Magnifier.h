// Magnifier: the pixels around the pointer, large, with the place and the colour of the one it is on.
#pragma once

#include <QColor>
#include <QImage>
#include <QPoint>
#include <QRect>
#include <QSize>

class QPainter;

namespace lumicrate::views {

/// Where a box goes: below and to the right of the pointer, or on its other side where there is no room. It
/// neither covers the pointer nor leaves the screen, whose shorter side must have room for the box, the gap
/// and the pointer. Pixels.
QPoint placeBesidePointer(const QSize& box, const QPoint& pointer, const QSize& screen, int gap);

/// All in pixels, of the screen's picture as well as of the painter.
class Magnifier {
 public:
    /// How many pixels are shown in each direction.
    static constexpr int count = 15;

    explicit Magnifier(double scale);

    /// Where it is while the pointer is on a pixel of the screen.
    QRect frame(const QPoint& pixel, const QSize& screen) const;
    /// Paints it into its frame; `picture` is that of the whole screen.
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
