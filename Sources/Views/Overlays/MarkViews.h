// SPDX-License-Identifier: GPL-3.0-or-later
// MarkViews: what marks the recorded area and clicks: AreaFrameView and ClickRingsView.
#pragma once

#include "Lumicrate/Overlays/ClickHighlighter.h"
#include "Support/Published.h"
#include "Views/Overlays/OverlayWidget.h"

#include <vector>

namespace lumicrate::views {

/// The dashed line around a recorded area. Without a compositing manager the gaps between the dashes are
/// white instead of cut out: capture treats a window whose shape consists of many pieces as covering its
/// whole bounds, which include the recorded area.
class AreaFrameView final : public OverlayWidget {
 public:
    AreaFrameView();

    QPainterPath silhouette() const override;
    std::optional<QPainterPath> paintedArea() const override { return silhouette(); }

 protected:
    void paintEvent(QPaintEvent* event) override;
};

/// Paints the rings that spread from clicks. Without a compositing manager rings cannot fade; they get
/// thinner instead.
class ClickRingsView final : public OverlayWidget {
 public:
    explicit ClickRingsView(const ClickRings& model);

    QPainterPath silhouette() const override;

 protected:
    void paintEvent(QPaintEvent* event) override;

 private:
    QPointF centerOf(const ClickRing& ring) const;
    QPainterPath opaquePart(const ClickRing& ring) const;

    std::vector<ClickRing> rings_;
    Subscription subscription_;
};

}  // namespace lumicrate::views
