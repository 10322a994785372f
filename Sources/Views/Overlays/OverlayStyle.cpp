// SPDX-License-Identifier: GPL-3.0-or-later
#include "Views/Overlays/OverlayStyle.h"

#include <QPainter>
#include <QPainterPath>

namespace lumicrate::views::overlay {

void paintPlate(QPainter& painter, const QRectF& plate, double radius, bool translucent) {
    if (!translucent) {
        painter.fillRect(plate, opaqueEdge);
        QPainterPath inner;
        inner.addRoundedRect(plate.adjusted(1, 1, -1, -1), radius - 1, radius - 1);
        painter.fillPath(inner, opaqueGround);
        return;
    }
    paintGround(painter, plate, ground, radius);
    painter.setPen(QPen(white(0.12), 1));
    painter.setBrush(Qt::NoBrush);
    painter.drawRoundedRect(plate.adjusted(0.5, 0.5, -0.5, -0.5), radius - 0.5, radius - 0.5);
}

void paintGround(QPainter& painter, const QRectF& area, const QColor& color, double radius) {
    painter.setPen(Qt::NoPen);
    painter.setBrush(color);
    painter.drawRoundedRect(area, radius, radius);
}

void paintFocus(QPainter& painter, const QRectF& area, const QColor& color, double radius) {
    constexpr double line = 2;
    constexpr double inset = line / 2;
    painter.setPen(QPen(color, line));
    painter.setBrush(Qt::NoBrush);
    painter.drawRoundedRect(area.adjusted(inset, inset, -inset, -inset), radius - inset, radius - inset);
}

}  // namespace lumicrate::views::overlay
