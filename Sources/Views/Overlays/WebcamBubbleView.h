// SPDX-License-Identifier: GPL-3.0-or-later
// WebcamBubbleView: paints the webcam bubble and forwards the mouse to its model.
#pragma once

#include "Lumicrate/Overlays/WebcamBubbleModel.h"
#include "Support/Published.h"
#include "Views/Overlays/OverlayWidget.h"

#include <QImage>

namespace lumicrate::views {

/// Repaints only when a picture arrives or the model's appearance changes.
class WebcamBubbleView final : public OverlayWidget {
 public:
    /// `model` must outlive the view.
    explicit WebcamBubbleView(WebcamBubbleModel& model);

    QPainterPath silhouette() const override;
    QPainterPath touchArea() const override { return silhouette(); }

 protected:
    void paintEvent(QPaintEvent* event) override;
    void enterEvent(QEnterEvent* event) override;
    void leaveEvent(QEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void contextMenuEvent(QContextMenuEvent* event) override;

 private:
    void show(const WebcamBubbleAppearance& appearance);
    void paintContent(QPainter& painter);
    void paintPicture(QPainter& painter, const QPainterPath& outline);
    void paintPlaceholder(QPainter& painter, const QPainterPath& outline) const;
    void paintRing(QPainter& painter) const;
    void paintPill(QPainter& painter) const;
    void paintSizeLabel(QPainter& painter) const;
    void paintHandle(QPainter& painter) const;

    QPainterPath outline(double inset = 0) const;
    QRectF handleDisc() const;
    QRectF pillRect() const;
    QRectF labelRect() const;
    const QImage& preparedPicture();
    Point insideOf(const QPointF& position) const;

    WebcamBubbleModel& model_;
    WebcamBubbleAppearance appearance_;
    RenderedPicture picture_;
    /// The visible part of the picture in the pixels of the screen; null if it has to be made.
    QImage prepared_;
    Subscription pictures_;
    Subscription appearances_;
};

}  // namespace lumicrate::views
