// SPDX-License-Identifier: GPL-3.0-or-later
// AreaFrameView: the dashed line around a recorded area.
#pragma once

#include "Views/Overlays/OverlayWidget.h"

namespace lumicrate::views {

/// Without a compositing manager the gaps between the dashes are white instead of cut out: capture treats a
/// window whose shape consists of many pieces as covering its whole bounds, which include the recorded area.
class AreaFrameView final : public OverlayWidget {
 public:
    AreaFrameView();

    QPainterPath silhouette() const override;
    std::optional<QPainterPath> paintedArea() const override { return silhouette(); }

 protected:
    void paintEvent(QPaintEvent* event) override;
};

}  // namespace lumicrate::views
