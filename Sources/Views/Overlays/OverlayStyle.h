// SPDX-License-Identifier: GPL-3.0-or-later
// OverlayStyle: the colours, measures, fonts and plates that all overlays share. They look the same over any
// desktop, whether its windows are light or dark. Lengths are in points.
#pragma once

#include <QColor>
#include <QFont>

class QPainter;
class QRectF;

namespace lumicrate::views::overlay {

inline QColor white(double opacity) {
    return QColor::fromRgbF(1, 1, 1, static_cast<float>(opacity));
}
inline QColor black(double opacity) {
    return QColor::fromRgbF(0, 0, 0, static_cast<float>(opacity));
}

inline const QColor red(0xff3b30);
inline const QColor green(0x30d158);
inline const QColor yellow(0xffcc00);
inline const QColor blue(0x007aff);
/// Behind light text that is selected.
inline const QColor selection(0x0060cc);
/// The record button, dark enough for white text on it.
inline const QColor recordGround(0xd6322d);
/// The fill of plates, and the same fill where nothing can show through.
inline const QColor ground(28, 29, 34, 235);
inline const QColor opaqueGround(28, 29, 34);
inline const QColor opaqueEdge(66, 68, 76);
/// Covered parts, as they are in recordings.
inline const QColor coverGround(40, 40, 40);
/// The divider between groups of controls.
inline const QColor divider = white(0.15);

/// The controls of a selection's bars.
namespace control {
constexpr int barHeight = 44;
constexpr int barCorner = 14;
constexpr int barPadding = 7;
constexpr int height = barHeight - 2 * barPadding;
constexpr int corner = barCorner - barPadding;
constexpr int padding = 9;
constexpr int gap = 4;
constexpr int chevron = 10;  ///< side of the symbol
constexpr int textSize = 13;

inline const QColor focus(0x6aa6ff);
inline const QColor text = white(0.93);
inline const QColor faintText = white(0.66);
inline const QColor field = white(0.09);
inline const QColor fieldHover = white(0.13);
inline const QColor hover = white(0.12);
inline const QColor pressed = white(0.22);
}  // namespace control

/// `base` in another size and weight. The size is in pixels of a screen with one pixel per point.
inline QFont font(int pixels, QFont::Weight weight = QFont::Normal, QFont base = QFont()) {
    base.setPixelSize(pixels);
    base.setWeight(weight);
    return base;
}
inline QFont controlFont(const QFont& base, QFont::Weight weight = QFont::Normal) {
    return font(control::textSize, weight, base);
}

/// A plate: the dark rounded ground of panels and labels, with a light line along its inside that sets it off
/// from a dark desktop. Turn antialiasing on for a translucent one. An opaque one fills the corners outside
/// of the rounding too: the window's shape cuts them off.
void paintPlate(QPainter& painter, const QRectF& plate, double radius, bool translucent);
/// The fill of a control.
void paintGround(QPainter& painter, const QRectF& area, const QColor& color, double radius = control::corner);
/// The line around the control that has the keyboard focus.
void paintFocus(QPainter& painter, const QRectF& area, const QColor& color = control::focus,
                double radius = control::corner);

}  // namespace lumicrate::views::overlay
