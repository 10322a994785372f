#include "Views/Overlays/Selection/LabelPlate.h"

#include "Views/Overlays/Plate.h"

#include <QFont>
#include <QFontDatabase>
#include <QFontMetricsF>
#include <QPainter>
#include <algorithm>
#include <cmath>

namespace lumicrate::views {

namespace {

constexpr double paddingX = 12;
constexpr double paddingY = 6;
constexpr double corner = 8;
constexpr double margin = 8;  ///< from the edges of the screen
constexpr int textSize = 13;
constexpr int targetSize = 15;

QFont fontOf(LabelPlate::Kind kind) {
    // Digits of one width stand still while they change.
    QFont font =
        kind == LabelPlate::Kind::size ? QFontDatabase::systemFont(QFontDatabase::FixedFont) : QFont();
    font.setPixelSize(kind == LabelPlate::Kind::target ? targetSize : textSize);
    font.setWeight(kind == LabelPlate::Kind::hint ? QFont::Normal : QFont::Medium);
    return font;
}

/// The end of a target's text is its size.
Qt::TextElideMode elisionOf(LabelPlate::Kind kind) {
    return kind == LabelPlate::Kind::target ? Qt::ElideMiddle : Qt::ElideRight;
}

/// A title may hold any characters, and stands on one line.
QString onOneLine(QString text) {
    for (QChar& each : text) {
        if (each.category() == QChar::Other_Control || each.isSpace()) each = u' ';
    }
    return text;
}

int between(int value, int low, int high) {
    return std::max(low, std::min(value, high));
}

}  // namespace

LabelPlate LabelPlate::placed(Kind kind, const QString& text, const QPointF& center,
                              const ScreenPixels& screen) {
    const QFontMetricsF metrics(fontOf(kind));
    const QRect all = screen.all();
    const double room = all.width() / screen.scale() - 2 * (margin + paddingX);
    const QString seen = metrics.elidedText(onOneLine(text), elisionOf(kind), room);
    const double width = std::ceil(metrics.horizontalAdvance(seen)) + 2 * paddingX;
    const double height = std::ceil(metrics.height()) + 2 * paddingY;
    QRect plate(0, 0, screen.length(width), screen.length(height));
    const QPointF half = QPointF(plate.width(), plate.height()) / 2;
    const QPoint wanted = (center - half).toPoint();
    const int away = screen.length(margin);
    plate.moveTo(between(wanted.x(), away, all.width() - plate.width() - away),
                 between(wanted.y(), away, all.height() - plate.height() - away));
    return {kind, seen, plate};
}

void LabelPlate::paint(QPainter& painter, double scale) const {
    const QRectF body(QPointF(), QSizeF(plate.size()) / scale);
    painter.save();
    painter.translate(plate.topLeft());
    painter.scale(scale, scale);
    painter.setRenderHint(QPainter::Antialiasing);
    paintTranslucentPlate(painter, body, corner);
    painter.setFont(fontOf(kind));
    painter.setPen(Qt::white);
    painter.drawText(body, Qt::AlignCenter | Qt::TextSingleLine | Qt::TextDontClip, text);
    painter.restore();
}

}  // namespace lumicrate::views
