// AreaFrameView: the dashed line around a recorded area.
#pragma once

#include "Views/Overlays/OverlayWidget.h"

namespace lumicrate::views {

/// Without a compositing manager the gaps between the dashes are white: a shape of single dashes would have
/// whoever captures the screen take the whole area for covered.
class AreaFrameView final : public OverlayWidget {
 public:
    AreaFrameView();

    QPainterPath silhouette() const override;
    std::optional<QPainterPath> outline() const override { return silhouette(); }

 protected:
    void paintEvent(QPaintEvent* event) override;
};

}  // namespace lumicrate::views
