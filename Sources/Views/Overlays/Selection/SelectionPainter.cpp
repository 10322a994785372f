#include "Views/Overlays/Selection/SelectionPainter.h"

#include "Views/Overlays/OverlayColors.h"

#include <QPainter>
#include <cmath>
#include <utility>

namespace lumicrate::views {

namespace {

constexpr double dimming = 0.45;
constexpr double handleSide = 9;
constexpr double handleCorner = 2;
constexpr double handleLine = 1.5;
constexpr double highlightOpacity = 0.12;
constexpr double highlightLine = 3;
/// Of a selection where there is neither a still picture nor a way to see through.
const QColor blank(96, 98, 106);

/// In the format of the window, so that painting is copying.
QImage prepared(QImage still) {
    still.convertTo(QImage::Format_ARGB32_Premultiplied);
    still.setDevicePixelRatio(1);
    return still;
}

/// All handles look the same, so it is painted once; its middle is that of the picture.
QImage handlePicture(double scale) {
    const int reach = static_cast<int>(std::ceil((handleSide + handleLine) / 2 * scale));
    QImage picture(2 * reach, 2 * reach, QImage::Format_ARGB32_Premultiplied);
    picture.fill(Qt::transparent);
    QPainter painter(&picture);
    painter.translate(reach, reach);
    painter.scale(scale, scale);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(overlay::blue, handleLine));
    painter.setBrush(Qt::white);
    painter.drawRoundedRect(QRectF(-handleSide / 2, -handleSide / 2, handleSide, handleSide), handleCorner,
                            handleCorner);
    return picture;
}

void fill(QPainter& painter, const QRegion& region, const QColor& color) {
    for (const QRect& each : region)
        painter.fillRect(each, color);
}

}  // namespace

SelectionPainter::SelectionPainter(QImage still, double scale)
    : still_(prepared(std::move(still))),
      scale_(scale),
      outline_(scale),
      magnifier_(scale),
      handle_(handlePicture(scale)) {}

QRect SelectionPainter::handleFrame(const QPoint& middle) const {
    return {middle - handle_.rect().center() - QPoint(1, 1), handle_.size()};
}

QRegion SelectionPainter::highlightFrame(const QRect& target) const {
    const int line = static_cast<int>(std::lround(highlightLine * scale_));
    return QRegion(target) - target.adjusted(line, line, -line, -line);
}

void SelectionPainter::paint(QPainter& painter, const SelectionScene& scene, const QRegion& clip,
                             bool composited) const {
    paintGround(painter, scene, clip, composited);
    if (scene.highlight) paintHighlight(painter, *scene.highlight, clip);
    if (scene.selection) outline_.paint(painter, *scene.selection, clip);
    for (const QPoint& each : scene.handles) {
        const QRect frame = handleFrame(each);
        if (clip.intersects(frame)) painter.drawImage(frame.topLeft(), handle_);
    }
    for (const LabelPlate& each : scene.labels)
        if (clip.intersects(each.plate)) each.paint(painter, scale_);
    if (scene.magnified && clip.intersects(scene.magnified->frame))
        magnifier_.paint(painter, scene.magnified->frame, scene.magnified->pixel, still_);
}

void SelectionPainter::paintGround(QPainter& painter, const SelectionScene& scene, const QRegion& clip,
                                   bool composited) const {
    const QRegion bright = scene.selection ? clip & *scene.selection : QRegion();
    const QRegion dimmed = clip - bright;
    painter.setCompositionMode(QPainter::CompositionMode_Source);
    if (composited) {
        fill(painter, bright, Qt::transparent);
        fill(painter, dimmed, overlay::black(dimming));
        painter.setCompositionMode(QPainter::CompositionMode_SourceOver);
        return;
    }
    paintScreen(painter, bright);
    paintScreen(painter, dimmed);
    painter.setCompositionMode(QPainter::CompositionMode_SourceOver);
    fill(painter, dimmed, overlay::black(dimming));
}

void SelectionPainter::paintScreen(QPainter& painter, const QRegion& part) const {
    for (const QRect& each : part) {
        if (!still_.rect().contains(each)) painter.fillRect(each, blank);
        const QRect known = each & still_.rect();
        if (!known.isEmpty()) painter.drawImage(known.topLeft(), still_, known);
    }
}

void SelectionPainter::paintHighlight(QPainter& painter, const QRect& target, const QRegion& clip) const {
    const QRegion line = highlightFrame(target);
    QColor tint = overlay::blue;
    tint.setAlphaF(highlightOpacity);
    fill(painter, (clip & target) - line, tint);
    fill(painter, clip & line, overlay::blue);
}

}  // namespace lumicrate::views
