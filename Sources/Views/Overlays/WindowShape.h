// The shape of a window on the X server: where it has pixels, and where it takes the pointer.
#pragma once

#include <QRegion>
#include <QWindow>
#include <optional>

class QPainterPath;

namespace lumicrate::views {

/// Gives the window pixels only there (its own pixels, y down); everywhere without a region.
void setPixelShape(const QWindow& window, const std::optional<QRegion>& shape);
/// Lets the pointer through everywhere else.
void setInputShape(const QWindow& window, const QRegion& shape);

/// The pixels that a path in points covers, in a window of that size and scale.
QRegion pixelsOf(const QPainterPath& path, const QSize& size, double scale);

}  // namespace lumicrate::views
