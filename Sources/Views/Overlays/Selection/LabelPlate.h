// LabelPlate: a text on a dark rounded plate, which is readable over anything.
#pragma once

#include "Views/Overlays/Selection/ScreenPixels.h"

#include <QPointF>
#include <QRect>
#include <QString>

class QPainter;

namespace lumicrate::views {

struct LabelPlate {
    enum class Kind { target, size, hint };

    Kind kind = Kind::hint;
    QString text;  ///< as much of it as has room on the screen
    QRect plate;   ///< pixels

    bool operator==(const LabelPlate&) const = default;

    /// With its middle at a place in pixels, or the nearest on the screen.
    static LabelPlate placed(Kind kind, const QString& text, const QPointF& center,
                             const ScreenPixels& screen);
    /// On a painter that counts in pixels.
    void paint(QPainter& painter, double scale) const;
};

}  // namespace lumicrate::views
