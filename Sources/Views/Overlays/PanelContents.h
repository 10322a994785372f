// PanelContents: the overlays' contents as widgets, in panels of the one recipe.
#pragma once

#include "Lumicrate/Overlays/OverlayContents.h"
#include "Views/Desktop/KeyMonitor.h"
#include "Views/Overlays/CompositionWatch.h"
#include "Views/Overlays/OverlayPanel.h"
#include "Views/Overlays/OverlayWidget.h"

#include <memory>
#include <utility>

namespace lumicrate::views {

/// Needs a QApplication; outlives all panels.
class PanelContents final : public OverlayContents {
 public:
    /// `keys` tells the contents that take keys what these are called.
    explicit PanelContents(KeyTranslation keys = [](const QKeyEvent&) { return NSEvent(); })
        : keys_(std::move(keys)) {}

    std::unique_ptr<OverlayContent> countdown(const CountdownModel& model) override;
    std::unique_ptr<OverlayContent> controlBar(ControlBarModel& model) override;
    std::unique_ptr<OverlayContent> clickRings(const ClickRings& model) override;
    std::unique_ptr<OverlayContent> areaFrame() override;
    std::unique_ptr<OverlayContent> selection(AreaSelection& model) override;
    std::unique_ptr<OverlayContent> screenChoice(ScreenChoice& model) override;

    /// For other content in a panel of the same recipe.
    std::unique_ptr<OverlayContent> content(std::unique_ptr<OverlayWidget> widget);

 private:
    KeyTranslation keys_;
    CompositionWatch composition_;
    PanelStack stack_;
};

}  // namespace lumicrate::views
