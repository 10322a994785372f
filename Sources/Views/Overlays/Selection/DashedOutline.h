// DashedOutline: the dashed white line around a selection.
#pragma once

#include <QRect>
#include <QRegion>

class QPainter;

namespace lumicrate::views {

/// A pen would be slow: it makes a polygon of every dash of a line that may be ten thousand pixels long, also
/// of those that are not to be painted. Here each side is a strip, and how much the line covers of a pixel is
/// the product of two numbers. All rectangles are in pixels.
class DashedOutline {
 public:
    explicit DashedOutline(double scale) : scale_(scale) {}

    /// All that is painted around such a rectangle.
    QRegion region(const QRect& around) const;
    /// What lies in the clip; on a painter that counts in pixels.
    void paint(QPainter& painter, const QRect& around, const QRegion& clip) const;

 private:
    double scale_;
};

}  // namespace lumicrate::views
