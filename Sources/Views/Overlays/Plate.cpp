#include "Views/Overlays/Plate.h"

#include "Views/Overlays/OverlayColors.h"

#include <QPainter>
#include <QPainterPath>

namespace lumicrate::views {

void paintOpaquePlate(QPainter& painter, const QRectF& plate, double radius) {
    painter.fillRect(plate, overlay::opaqueEdge);
    QPainterPath inner;
    inner.addRoundedRect(plate.adjusted(1, 1, -1, -1), radius - 1, radius - 1);
    painter.fillPath(inner, overlay::opaqueGround);
}

void paintTranslucentPlate(QPainter& painter, const QRectF& plate, double radius) {
    painter.setPen(Qt::NoPen);
    painter.setBrush(overlay::ground);
    painter.drawRoundedRect(plate, radius, radius);
    painter.setPen(QPen(overlay::white(0.12), 1));
    painter.setBrush(Qt::NoBrush);
    painter.drawRoundedRect(plate.adjusted(0.5, 0.5, -0.5, -0.5), radius - 0.5, radius - 0.5);
}

}  // namespace lumicrate::views
