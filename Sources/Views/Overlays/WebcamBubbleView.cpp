// SPDX-License-Identifier: GPL-3.0-or-later
#include "Views/Overlays/WebcamBubbleView.h"

#include "Lumicrate/Overlays/WebcamBubbleGeometry.h"
#include "Views/Desktop/Coordinates.h"
#include "Views/Overlays/OverlayStyle.h"
#include "Views/Widgets/Menus.h"
#include "Views/Widgets/QtText.h"
#include "Views/Widgets/Symbols.h"

#include <QContextMenuEvent>
#include <QMenu>
#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>
#include <algorithm>
#include <cmath>
#include <utility>

namespace lumicrate::views {

namespace {

constexpr double handleLine = 1;
constexpr double shadowRadius = 2;
constexpr QSizeF labelSize(64, 20);
constexpr double labelCorner = 5;
constexpr int labelTextSize = 12;
constexpr double placeholderSymbol = 0.3;  ///< of the shorter side

QColor colorOf(const NSColor& color) {
    return QColor::fromRgbF(static_cast<float>(color.red), static_cast<float>(color.green),
                            static_cast<float>(color.blue));
}

/// The part of a picture, in its middle, that fills `target` with the same aspect ratio.
QRect coveringPart(const QSize& picture, const QSize& target) {
    QRect part(QPoint(), target.scaled(picture, Qt::KeepAspectRatio).expandedTo({1, 1}));
    part.moveTopLeft({(picture.width() - part.width()) / 2, (picture.height() - part.height()) / 2});
    return part;
}

Qt::CursorShape shapeOf(WebcamBubbleAppearance::Cursor cursor) {
    switch (cursor) {
        case WebcamBubbleAppearance::Cursor::closedHand:
            return Qt::ClosedHandCursor;
        case WebcamBubbleAppearance::Cursor::resize:
            return Qt::SizeFDiagCursor;
        case WebcamBubbleAppearance::Cursor::arrow:
            break;
    }
    return Qt::ArrowCursor;
}

}  // namespace

WebcamBubbleView::WebcamBubbleView(WebcamBubbleModel& model)
    : model_(model), appearance_(*model.appearance), picture_(*model.picture) {
    setAccessibleName(localizedText("Webcam"));
    setMouseTracking(true);
    pictures_ = model.picture.observe([this](const RenderedPicture& picture) {
        picture_ = picture;
        prepared_ = QImage();
        update();
    });
    appearances_ =
        model.appearance.observe([this](const WebcamBubbleAppearance& appearance) { show(appearance); });
}

/// Repaints only the parts that differ.
void WebcamBubbleView::show(const WebcamBubbleAppearance& next) {
    const WebcamBubbleAppearance before = std::exchange(appearance_, next);
    if (next.cursor != before.cursor) setCursor(shapeOf(next.cursor));
    if (next.mirrored != before.mirrored) prepared_ = QImage();
    if (next.sizeLabel != before.sizeLabel) update(labelRect().toAlignedRect());
    const auto ring = [](const WebcamBubbleAppearance& each) {
        return bubble::speakingRingOpacity(each.level.value_or(0));
    };
    if (next.level != before.level) update(pillRect().toAlignedRect());
    const bool ringChanges = next.level != before.level && (ring(next) > 0 || ring(before) > 0);
    if (ringChanges || next.borderWidth != before.borderWidth || next.borderColor != before.borderColor ||
        next.mirrored != before.mirrored || next.disconnected != before.disconnected)
        update();
    if (next.shape != before.shape || next.showsHandle != before.showsHandle) shapeChanged();
}

/// `inset` moves it inwards.
QPainterPath WebcamBubbleView::outline(double inset) const {
    const double radius =
        bubble::cornerRadius(appearance_.shape, {double(width()), double(height())}) - inset;
    const QRectF box = QRectF(rect()).adjusted(inset, inset, -inset, -inset);
    QPainterPath path;
    path.addRoundedRect(box, std::max(0.0, radius), std::max(0.0, radius));
    return path;
}

QRectF WebcamBubbleView::handleDisc() const {
    const Point center = bubble::handleCenter(appearance_.shape, {double(width()), double(height())});
    QRectF disc(0, 0, bubble::handleDiameter, bubble::handleDiameter);
    disc.moveCenter({center.x, height() - center.y});
    return disc;
}

QRectF WebcamBubbleView::pillRect() const {
    const Rect pill = bubble::layoutLevelPill(appearance_.shape, {double(width()), double(height())}).frame;
    return {pill.x, height() - pill.maxY(), pill.width, pill.height};
}

QRectF WebcamBubbleView::labelRect() const {
    QRectF label(QPointF(), labelSize);
    label.moveCenter(QRectF(rect()).center());
    return label;
}

QPainterPath WebcamBubbleView::silhouette() const {
    QPainterPath path = outline();
    if (!appearance_.showsHandle) return path;
    constexpr double line = handleLine / 2;
    path.setFillRule(Qt::WindingFill);
    path.addEllipse(handleDisc().adjusted(-line, -line, line, line));
    return path;
}

void WebcamBubbleView::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    paintContent(painter);
    // Keeps the antialiased edge of the outline as it is.
    painter.setCompositionMode(QPainter::CompositionMode_SourceAtop);
    if (appearance_.level) {
        paintRing(painter);
        paintPill(painter);
    }
    if (!appearance_.sizeLabel.empty()) paintSizeLabel(painter);
    painter.setCompositionMode(QPainter::CompositionMode_SourceOver);
    if (appearance_.showsHandle) paintHandle(painter);
}

/// The picture inside its border. Without a compositing manager the window's shape is the outline, so
/// everything outside of it is painted too.
void WebcamBubbleView::paintContent(QPainter& painter) {
    QPainterPath all;
    all.addRect(rect());
    const QPainterPath whole = isComposited() ? outline() : all;
    const bool hasBorder = appearance_.borderWidth > 0;
    if (hasBorder) painter.fillPath(whole, colorOf(appearance_.borderColor));
    const QPainterPath inner = hasBorder ? outline(appearance_.borderWidth) : whole;
    if (picture_.pixels)
        paintPicture(painter, inner);
    else
        paintPlaceholder(painter, inner);
}

void WebcamBubbleView::paintPicture(QPainter& painter, const QPainterPath& outline) {
    QBrush brush(preparedPicture());
    // A brush is in points: with this it is painted pixel by pixel.
    const double point = 1 / devicePixelRatio();
    brush.setTransform(QTransform::fromScale(point, point));
    painter.fillPath(outline, brush);
}

const QImage& WebcamBubbleView::preparedPicture() {
    const QSize target = (QSizeF(size()) * devicePixelRatio()).toSize();
    if (prepared_.size() == target) return prepared_;
    const QImage whole(picture_.pixels.get(), picture_.width, picture_.height,
                       static_cast<qsizetype>(picture_.bytesPerRow), QImage::Format_RGB32);
    // The unused byte of a pixel can have any value; after the conversion it is opaque alpha.
    prepared_ =
        whole.copy(coveringPart(whole.size(), target)).convertToFormat(QImage::Format_ARGB32_Premultiplied);
    if (prepared_.size() != target)
        prepared_ = prepared_.scaled(target, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
    if (appearance_.mirrored) prepared_ = std::move(prepared_).mirrored(true, false);
    return prepared_;
}

void WebcamBubbleView::paintPlaceholder(QPainter& painter, const QPainterPath& outline) const {
    painter.fillPath(outline, overlay::opaqueGround);
    const double side = std::min(width(), height()) * placeholderSymbol;
    QRectF square(0, 0, side, side);
    square.moveCenter(QRectF(rect()).center());
    paintSymbol(painter, square, appearance_.disconnected ? "video.slash.fill" : "video.fill",
                overlay::control::faintText);
}

void WebcamBubbleView::paintRing(QPainter& painter) const {
    const double level = appearance_.level.value_or(0);
    const double opacity = bubble::speakingRingOpacity(level);
    if (opacity == 0) return;
    const double line = bubble::speakingRingWidth({double(width()), double(height())}, level);
    QPainterPath ring = outline();
    ring.addPath(outline(line));
    QColor color = overlay::green;
    color.setAlphaF(static_cast<float>(opacity));
    painter.fillPath(ring, color);
}

void WebcamBubbleView::paintPill(QPainter& painter) const {
    const auto pill = bubble::layoutLevelPill(appearance_.shape, {double(width()), double(height())});
    painter.setBrush(overlay::black(0.6));
    painter.drawRoundedRect(pillRect(), pill.cornerRadius, pill.cornerRadius);
    for (std::size_t i = 0; i < pill.bars.size(); ++i) {
        const Rect& bar = pill.bars[i];
        const QRectF place(bar.x, height() - bar.maxY(), bar.width, bar.height);
        const double lit = bubble::barBrightness(i, appearance_.level.value_or(0));
        const auto paintBar = [&](QColor color, double opacity) {
            color.setAlphaF(static_cast<float>(opacity));
            painter.setBrush(color);
            painter.drawRoundedRect(place, bar.width / 2, bar.width / 2);
        };
        paintBar(Qt::white, 0.3);
        if (lit > 0) paintBar(overlay::green, lit);
    }
}

void WebcamBubbleView::paintSizeLabel(QPainter& painter) const {
    painter.setBrush(overlay::black(0.7));
    painter.drawRoundedRect(labelRect(), labelCorner, labelCorner);
    painter.setFont(overlay::font(labelTextSize, QFont::Medium, font()));
    painter.setPen(Qt::white);
    painter.drawText(labelRect(), Qt::AlignCenter, qtText(appearance_.sizeLabel));
    painter.setPen(Qt::NoPen);
}

void WebcamBubbleView::paintHandle(QPainter& painter) const {
    const QRectF disc = handleDisc();
    constexpr double line = handleLine / 2;
    if (isComposited()) {
        // Faint discs that add up to a soft edge: dense near the handle and sparse further out.
        constexpr int layers = 10;
        constexpr double shadowOpacity = 0.4;
        painter.setBrush(overlay::black(shadowOpacity / layers));
        for (int layer = 1; layer <= layers; ++layer) {
            const double part = double(layer) / layers;
            const double depth = 2 * shadowRadius * part * part;
            painter.drawEllipse(disc.adjusted(-depth, -depth, depth, depth));
        }
    } else {
        // Every pixel of the silhouette has to be opaque.
        painter.setRenderHint(QPainter::Antialiasing, false);
        painter.setBrush(Qt::gray);
        painter.drawEllipse(disc.adjusted(-line, -line, line, line));
        painter.setRenderHint(QPainter::Antialiasing);
    }
    painter.setPen(QPen(overlay::black(0.35), handleLine));
    painter.setBrush(Qt::white);
    painter.drawEllipse(disc);
}

/// The middle of the pixel at a widget's position, in the model's coordinates.
Point WebcamBubbleView::insideOf(const QPointF& position) const {
    const double half = 0.5 / devicePixelRatio();
    return {position.x() + half, height() - position.y() - half};
}

void WebcamBubbleView::enterEvent(QEnterEvent* event) {
    model_.mouseMoved(insideOf(event->position()));
}

void WebcamBubbleView::leaveEvent(QEvent*) {
    model_.mouseExited();
}

void WebcamBubbleView::mousePressEvent(QMouseEvent* event) {
    if (event->button() == Qt::LeftButton) model_.mouseDown(insideOf(event->position()));
}

void WebcamBubbleView::mouseMoveEvent(QMouseEvent* event) {
    if (model_.drag() == WebcamBubbleModel::Drag::none) {
        model_.mouseMoved(insideOf(event->position()));
    } else {
        // Not the event's position: the panel has moved since, and the pointer too.
        model_.mouseDragged(Coordinates::now().pointOfPixel(pointerPixel()));
    }
}

void WebcamBubbleView::mouseReleaseEvent(QMouseEvent* event) {
    if (event->button() == Qt::LeftButton) model_.mouseUp(insideOf(event->position()));
}

void WebcamBubbleView::contextMenuEvent(QContextMenuEvent* event) {
    if (model_.drag() != WebcamBubbleModel::Drag::none) return;
    auto* const menu = new QMenu(this);
    menu->setAttribute(Qt::WA_DeleteOnClose);
    fillMenu(*menu, model_.makeMenu());
    menu->popup(event->globalPos());
}

}  // namespace lumicrate::views
