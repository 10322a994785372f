// SelectionPainter: paints a selection, over what shines through or over a still picture of the screen.
#pragma once

#include "Views/Overlays/Selection/DashedOutline.h"
#include "Views/Overlays/Selection/Magnifier.h"
#include "Views/Overlays/Selection/ScreenPixels.h"
#include "Views/Overlays/Selection/SelectionScene.h"

#include <QImage>
#include <QRect>
#include <QRegion>

class QPainter;

namespace lumicrate::views {

/// What a pixel becomes depends on the scene alone, not on which pixels are painted with it. All rectangles
/// are in pixels of the screen.
class SelectionPainter {
 public:
    /// `still` is the picture of the screen in its pixels; null where there is none.
    SelectionPainter(QImage still, double scale);

    bool canMagnify() const { return !still_.isNull(); }
    QRect magnifierFrame(const QPoint& pixel, const QSize& screen) const {
        return magnifier_.frame(pixel, screen);
    }
    /// Where the outline of a selection is, the handle with its middle at a point, the line along a target's
    /// edges.
    QRegion outlineRegion(const QRect& selection) const { return outline_.region(selection); }
    QRect handleFrame(const QPoint& middle) const;
    QRegion highlightFrame(const QRect& target) const;

    /// Replaces at least what lies in `clip`, and may paint what is elsewhere wrongly: the painter is to keep
    /// it away. The painter counts in pixels of the screen. Composited, the result is translucent.
    void paint(QPainter& painter, const SelectionScene& scene, const QRegion& clip, bool composited) const;

 private:
    void paintScreen(QPainter& painter, const QRegion& part) const;
    void paintGround(QPainter& painter, const SelectionScene& scene, const QRegion& clip,
                     bool composited) const;
    void paintHighlight(QPainter& painter, const QRect& target, const QRegion& clip) const;

    QImage still_;
    double scale_;
    DashedOutline outline_;
    Magnifier magnifier_;
    QImage handle_;
};

}  // namespace lumicrate::views
