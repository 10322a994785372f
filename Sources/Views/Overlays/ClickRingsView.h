// SPDX-License-Identifier: GPL-3.0-or-later
// ClickRingsView: paints the rings that spread from clicks.
#pragma once

#include "Lumicrate/Overlays/ClickHighlighter.h"
#include "Support/Published.h"
#include "Views/Overlays/OverlayWidget.h"

#include <vector>

namespace lumicrate::views {

/// Without a compositing manager rings cannot fade; they get thinner instead.
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
