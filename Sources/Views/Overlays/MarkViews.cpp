// SPDX-License-Identifier: GPL-3.0-or-later
#include "Views/Overlays/MarkViews.h"

#include "Views/Overlays/OverlayStyle.h"
#include "Views/Widgets/QtText.h"
#include "Views/Widgets/Theme.h"

#include <QPainter>
#include <QPainterPathStroker>
#include <QPen>
#include <cmath>

namespace lumicrate::views {

namespace {

// Of the frame.
constexpr double lineWidth = 3;
constexpr double dash = 10;
constexpr double gap = 6;
constexpr double lineOpacity = 0.9;

// Of the rings.
constexpr double fillOpacity = 0.3;
/// Line widths of a ring that cannot fade, at its start and at its end.
constexpr double thickest = 4.5;
constexpr double thinnest = 1.5;

const QColor& colorOf(const ClickRing& ring) {
    return ring.secondary ? overlay::blue : overlay::yellow;
}

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
    if (!isComposited()) painter.fillRect(rect(), Qt::white);
    QPen pen(isComposited() ? faded(overlay::red, lineOpacity) : overlay::red, lineWidth, Qt::CustomDashLine,
             Qt::FlatCap, Qt::MiterJoin);
    // Dash lengths are in units of the line width.
    pen.setDashPattern({dash / lineWidth, gap / lineWidth});
    painter.setPen(pen);
    painter.drawRect(line);
}

ClickRingsView::ClickRingsView(const ClickRings& model) : rings_(*model.rings) {
    setAccessibleName(localizedText("Clicks"));
    subscription_ = model.rings.observe([this](const std::vector<ClickRing>& rings) {
        rings_ = rings;
        shapeChanged();
    });
}

/// In widget coordinates, y down.
QPointF ClickRingsView::centerOf(const ClickRing& ring) const {
    return {ring.center.x, height() - ring.center.y};
}

QPainterPath ClickRingsView::opaquePart(const ClickRing& ring) const {
    QPainterPath circle;
    circle.addEllipse(centerOf(ring), ring.diameter / 2, ring.diameter / 2);
    QPainterPathStroker stroker;
    stroker.setWidth(std::lerp(thinnest, thickest, ring.opacity));
    return stroker.createStroke(circle);
}

QPainterPath ClickRingsView::silhouette() const {
    QPainterPath all;
    all.setFillRule(Qt::WindingFill);
    for (const ClickRing& each : rings_)
        all.addPath(opaquePart(each));
    return all;
}

void ClickRingsView::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    if (!isComposited()) {
        for (const ClickRing& each : rings_)
            painter.fillPath(opaquePart(each), colorOf(each));
        return;
    }
    painter.setRenderHint(QPainter::Antialiasing);
    for (const ClickRing& each : rings_) {
        const QColor& color = colorOf(each);
        painter.setBrush(faded(color, fillOpacity * each.opacity));
        painter.setPen(QPen(faded(color, each.opacity), each.lineWidth));
        painter.drawEllipse(centerOf(each), each.diameter / 2, each.diameter / 2);
    }
}

}  // namespace lumicrate::views
