// SPDX-License-Identifier: GPL-3.0-or-later
// SelectionPainter: paints a selection, either translucent over the live screen or over a still picture of
// it.
#pragma once

#include "Views/Overlays/Selection/Magnifier.h"
#include "Views/Overlays/Selection/ScreenPixels.h"
#include "Views/Overlays/Selection/SelectionScene.h"

#include <QImage>
#include <QRect>
#include <QRegion>

class QPainter;

namespace lumicrate::views {

/// The dashed white line around a selection. All rectangles are in pixels.
///
/// QPen would be slow: it makes a polygon of every dash of a line that may be ten thousand pixels long,
/// including the dashes that are not to be painted. Here each side is a strip of pixels, and the coverage of
/// a pixel is the product of its coverage along and across the side.
class DashedOutline {
 public:
    explicit DashedOutline(double scale) : scale_(scale) {}

    /// All pixels that the outline of such a rectangle can touch.
    QRegion region(const QRect& around) const;
    /// Paints the part inside the clip. `painter` uses pixel coordinates.
    void paint(QPainter& painter, const QRect& around, const QRegion& clip) const;

 private:
    double scale_;
};

/// The colour of a pixel depends only on the scene, not on which other pixels are painted with it, so
/// painting a part gives the same pixels as painting everything. All rectangles are in pixels of the screen.
class SelectionPainter {
 public:
    /// `still` is a picture of the screen in its pixels; null if there is none.
    SelectionPainter(QImage still, double scale);

    bool canMagnify() const { return !still_.isNull(); }
    QRect magnifierFrame(const QPoint& pixel, const QSize& screen) const {
        return magnifier_.frame(pixel, screen);
    }
    /// The pixels of a selection's outline, of the handle centred on a point, of the line along a target's
    /// edges.
    QRegion outlineRegion(const QRect& selection) const { return outline_.region(selection); }
    QRect handleFrame(const QPoint& center) const;
    QRegion highlightFrame(const QRect& target) const;

    /// Paints at least the pixels in `clip`. Pixels outside may be painted wrongly: `painter` must clip them
    /// away. `painter` uses pixel coordinates. Composited, the result is translucent.
    void paint(QPainter& painter, const SelectionScene& scene, const QRegion& clip, bool composited) const;

 private:
    void paintScreen(QPainter& painter, const QRegion& part) const;
    void paintBackground(QPainter& painter, const SelectionScene& scene, const QRegion& clip,
                         bool composited) const;
    void paintCover(QPainter& painter, const SelectionScene::Cover& cover) const;
    void paintHighlight(QPainter& painter, const QRect& target, const QRegion& clip) const;

    QImage still_;
    double scale_;
    DashedOutline outline_;
    Magnifier magnifier_;
    QImage handle_;
};

}  // namespace lumicrate::views
