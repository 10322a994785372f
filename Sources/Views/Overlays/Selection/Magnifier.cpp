// SPDX-License-Identifier: GPL-3.0-or-later
#include "Views/Overlays/Selection/Magnifier.h"

#include "Views/Overlays/OverlayStyle.h"

#include <QFont>
#include <QFontDatabase>
#include <QPainter>
#include <algorithm>
#include <cmath>

namespace lumicrate::views {

namespace {

// Points.
constexpr double cellSide = 8;
constexpr double padding = 8;
constexpr double pointerGap = 20;
constexpr double textGap = 6;
constexpr double lineHeight = 17;
constexpr double swatchSide = 11;
constexpr double swatchGap = 6;
constexpr double corner = 10;
constexpr int textSize = 12;

/// Shown beyond the edges of the screen.
const QColor beyond(12, 12, 14);

int besidePointer(int length, int pointer, int room, int gap) {
    const int after = pointer + 1 + gap;
    if (after + length <= room) return after;
    const int before = pointer - gap - length;
    return before >= 0 ? before : std::max(0, room - length);
}

QFont textFont() {
    QFont font = QFontDatabase::systemFont(QFontDatabase::FixedFont);
    font.setPixelSize(textSize);
    return font;
}

/// Paints a line along the inside of a rectangle.
void frameRect(QPainter& painter, const QRect& rect, int line, const QColor& color) {
    const QRegion frame = QRegion(rect) - rect.adjusted(line, line, -line, -line);
    for (const QRect& each : frame)
        painter.fillRect(each, color);
}

}  // namespace

QPoint placeBesidePointer(const QSize& box, const QPoint& pointer, const QSize& screen, int gap) {
    return {besidePointer(box.width(), pointer.x(), screen.width(), gap),
            besidePointer(box.height(), pointer.y(), screen.height(), gap)};
}

Magnifier::Magnifier(double scale)
    : scale_(scale),
      cell_(std::max(1, static_cast<int>(std::lround(cellSide * scale)))),
      padding_(static_cast<int>(std::lround(padding * scale))) {}

QRect Magnifier::frame(const QPoint& pixel, const QSize& screen) const {
    const int below = static_cast<int>(std::lround((textGap + 2 * lineHeight) * scale_));
    const int side = count * cell_ + 2 * padding_;
    const QSize size(side, side + below);
    const int gap = static_cast<int>(std::lround(pointerGap * scale_));
    return {placeBesidePointer(size, pixel, screen, gap), size};
}

void Magnifier::paint(QPainter& painter, const QRect& frame, const QPoint& pixel,
                      const QImage& picture) const {
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(overlay::opaqueEdge);
    painter.drawRoundedRect(frame, corner * scale_, corner * scale_);
    painter.setBrush(overlay::opaqueGround);
    const double line = std::max(1.0, std::floor(scale_));
    const double inside = corner * scale_ - line;
    painter.drawRoundedRect(QRectF(frame).adjusted(line, line, -line, -line), inside, inside);
    painter.setRenderHint(QPainter::Antialiasing, false);
    paintPixels(painter, frame.topLeft() + QPoint(padding_, padding_), pixel, picture);
    paintText(painter, frame, pixel, picture.pixelColor(pixel));
    painter.restore();
}

void Magnifier::paintPixels(QPainter& painter, const QPoint& corner, const QPoint& pixel,
                            const QImage& picture) const {
    const QPoint first = pixel - QPoint(count / 2, count / 2);
    for (int y = 0; y < count; ++y) {
        for (int x = 0; x < count; ++x) {
            const QPoint at = first + QPoint(x, y);
            const QColor color = picture.valid(at) ? picture.pixelColor(at) : beyond;
            painter.fillRect(corner.x() + x * cell_, corner.y() + y * cell_, cell_, cell_, color);
        }
    }
    // A light and a dark frame, so that one of them is visible, around the pixel without covering it.
    const int line = std::max(1, static_cast<int>(std::lround(scale_)));
    const QRect middle(corner + QPoint(count / 2, count / 2) * cell_, QSize(cell_, cell_));
    frameRect(painter, middle.adjusted(-line, -line, line, line), line, Qt::white);
    frameRect(painter, middle.adjusted(-2 * line, -2 * line, 2 * line, 2 * line), line, Qt::black);
}

void Magnifier::paintText(QPainter& painter, const QRect& frame, const QPoint& pixel,
                          const QColor& color) const {
    painter.translate(frame.left(), frame.top() + padding_ + count * cell_);
    painter.scale(scale_, scale_);
    // Coordinates and colors are written alike in all languages.
    painter.setLayoutDirection(Qt::LeftToRight);
    const double width = frame.width() / scale_;
    const QRectF place(0, textGap, width, lineHeight);
    painter.setFont(textFont());
    painter.setPen(Qt::white);
    painter.drawText(place, Qt::AlignCenter, QStringLiteral("%1, %2").arg(pixel.x()).arg(pixel.y()));

    const QString name = color.name().toUpper();
    const double textWidth = QFontMetricsF(textFont()).horizontalAdvance(name);
    const double left = (width - swatchSide - swatchGap - textWidth) / 2;
    const QRectF line = place.translated(0, lineHeight);
    const QRectF swatch(left, line.center().y() - swatchSide / 2, swatchSide, swatchSide);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setBrush(color);
    painter.setPen(QPen(overlay::white(0.5), 1));
    painter.drawRoundedRect(swatch.adjusted(0.5, 0.5, -0.5, -0.5), 2, 2);
    painter.setPen(Qt::white);
    painter.drawText(QRectF(swatch.right() + swatchGap, line.top(), width, line.height()),
                     Qt::AlignLeft | Qt::AlignVCenter, name);
}

}  // namespace lumicrate::views
