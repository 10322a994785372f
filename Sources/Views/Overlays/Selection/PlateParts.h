// What the controls of a selection's bars have in common: measures, colours, and how their ground is painted.
#pragma once

#include "Views/Overlays/OverlayColors.h"

#include <QFont>
#include <QPainter>
#include <QRectF>

namespace lumicrate::views::plate {

// Points.
constexpr int height = 44;
constexpr int corner = 14;
constexpr int padding = 7;
constexpr int controlHeight = height - 2 * padding;
constexpr int controlCorner = corner - padding;
constexpr int controlPadding = 9;
constexpr int controlGap = 4;
constexpr int groupGap = 9;  ///< on either side of a divider
constexpr int chevron = 10;
constexpr double focusLine = 2;

inline const QColor focus(0x6aa6ff);
inline const QColor text = overlay::white(0.93);
inline const QColor faintText = overlay::white(0.55);
inline const QColor field = overlay::white(0.09);
inline const QColor fieldHover = overlay::white(0.17);
inline const QColor hover = overlay::white(0.13);
inline const QColor pressed = overlay::white(0.22);

inline QFont font(QFont font, QFont::Weight weight = QFont::Normal) {
    constexpr int size = 13;
    font.setPixelSize(size);
    font.setWeight(weight);
    return font;
}

inline void paintGround(QPainter& painter, const QRectF& ground, const QColor& color,
                        double radius = controlCorner) {
    painter.setPen(Qt::NoPen);
    painter.setBrush(color);
    painter.drawRoundedRect(ground, radius, radius);
}

/// Around the control that has the keys.
inline void paintFocus(QPainter& painter, const QRectF& ground, const QColor& color = focus,
                       double radius = controlCorner) {
    constexpr double inset = focusLine / 2;
    painter.setPen(QPen(color, focusLine));
    painter.setBrush(Qt::NoBrush);
    painter.drawRoundedRect(ground.adjusted(inset, inset, -inset, -inset), radius - inset, radius - inset);
}

}  // namespace lumicrate::views::plate
