// SPDX-License-Identifier: GPL-3.0-or-later
// CountdownView: a large number in a dark rounded square.
#pragma once

#include "Lumicrate/Overlays/CountdownController.h"
#include "Support/Published.h"
#include "Views/Overlays/OverlayWidget.h"

#include <QVariantAnimation>

namespace lumicrate::views {

/// The old number moves up and fades out while the next one moves in.
class CountdownView final : public OverlayWidget {
 public:
    explicit CountdownView(const CountdownModel& model);

    QPainterPath silhouette() const override;
    QSize sizeHint() const override { return {200, 200}; }

 protected:
    void paintEvent(QPaintEvent* event) override;

 private:
    void change(int value);
    void drawNumber(QPainter& painter, const QRectF& place, int value, double shift, double opacity) const;

    int value_;
    int previous_;
    QString hint_;
    QVariantAnimation change_;  ///< from 0, the previous number, to 1, the current one
    Subscription subscription_;
};

}  // namespace lumicrate::views
