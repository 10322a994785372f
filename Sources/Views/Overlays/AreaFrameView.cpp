// SPDX-License-Identifier: GPL-3.0-or-later
#include "Views/Overlays/AreaFrameView.h"

#include "Views/Overlays/OverlayStyle.h"
#include "Views/Widgets/QtText.h"

#include <QPainter>
#include <QPen>

namespace lumicrate::views {
namespace {
constexpr double lineWidth = 3;
constexpr double dash = 10;
constexpr double gap = 6;
constexpr double opacity = 0.9;

}  // namespace

AreaFrameView::AreaFrameView() {
    setAccessibleName(localizedText("Recorded area"));
}

QPainterPath AreaFrameView::silhouette() const {
    const QRectF outer = rect();
    QPainterPath path;
    path.addRect(outer);
    path.addRect(outer.adjusted(lineWidth, lineWidth, -lineWidth, -lineWidth));
    return path;
}

void AreaFrameView::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    const QRectF line = QRectF(rect()).adjusted(lineWidth / 2, lineWidth / 2, -lineWidth / 2, -lineWidth / 2);
    QColor color = overlay::red;
    if (isComposited()) {
        color.setAlphaF(opacity);
    } else {
        painter.fillRect(rect(), Qt::white);
    }
    QPen pen(color, lineWidth, Qt::CustomDashLine, Qt::FlatCap, Qt::MiterJoin);
    // Dash lengths are in units of the line width.
    pen.setDashPattern({dash / lineWidth, gap / lineWidth});
    painter.setPen(pen);
    painter.drawRect(line);
}

}  // namespace lumicrate::views
