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

}  // namespace lumicrate::views
