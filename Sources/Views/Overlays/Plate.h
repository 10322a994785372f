// The dark rounded ground that panels and labels have.
#pragma once

class QPainter;
class QRectF;

namespace lumicrate::views {

/// Opaque, with a light line along its inner edge, which sets it off from a dark desktop. What lies outside
/// of the rounded corners is painted too, and to be cut off.
void paintOpaquePlate(QPainter& painter, const QRectF& plate, double radius);
/// The same where something shines through. Antialiasing is to be on.
void paintTranslucentPlate(QPainter& painter, const QRectF& plate, double radius);

}  // namespace lumicrate::views
