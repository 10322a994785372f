// The colours of overlays: the same over any desktop, be its windows light or dark.
#pragma once

#include <QColor>

namespace lumicrate::views::overlay {

inline const QColor red(0xff3b30);
inline const QColor green(0x30d158);
inline const QColor yellow(0xffcc00);
inline const QColor blue(0x007aff);
/// The ground of dark panels, and the same where nothing shines through.
inline const QColor ground(28, 29, 34, 235);
inline const QColor opaqueGround(28, 29, 34);
inline const QColor opaqueEdge(66, 68, 76);

inline QColor white(double opacity) {
    return QColor::fromRgbF(1, 1, 1, static_cast<float>(opacity));
}
inline QColor black(double opacity) {
    return QColor::fromRgbF(0, 0, 0, static_cast<float>(opacity));
}

}  // namespace lumicrate::views::overlay
