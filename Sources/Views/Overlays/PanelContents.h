// PanelContents: the overlays' contents as widgets, in panels of the one recipe.
#pragma once

#include "Lumicrate/Overlays/OverlayPanel.h"
#include "Views/Overlays/CompositionWatch.h"
#include "Views/Overlays/OverlayPanel.h"
#include "Views/Overlays/OverlayWidget.h"

#include <memory>

namespace lumicrate::views {

/// Needs a QApplication; outlives all panels.
class PanelContents final : public OverlayContents {
 public:
    std::unique_ptr<OverlayContent> countdown(const CountdownModel& model) override;
    std::unique_ptr<OverlayContent> controlBar(ControlBarModel& model) override;
    std::unique_ptr<OverlayContent> clickRings(const ClickRings& model) override;
    std::unique_ptr<OverlayContent> areaFrame() override;

    /// For other content in a panel of the same recipe.
    std::unique_ptr<OverlayContent> content(std::unique_ptr<OverlayWidget> widget);

 private:
    CompositionWatch composition_;
    PanelStack stack_;
};

}  // namespace lumicrate::views
