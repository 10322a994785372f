// SPDX-License-Identifier: GPL-3.0-or-later
// PanelContents: creates the widgets of all overlays, each in an OverlayPanel.
#pragma once

#include "Lumicrate/Overlays/OverlayContents.h"
#include "Views/Desktop/KeyMonitor.h"
#include "Views/Overlays/CompositionWatch.h"
#include "Views/Overlays/OverlayPanel.h"
#include "Views/Overlays/OverlayWidget.h"

#include <memory>
#include <utility>

namespace lumicrate::views {

/// Needs a QApplication. Must outlive all panels.
class PanelContents final : public OverlayContents {
 public:
    /// `keys` translates key presses for the contents that handle them.
    explicit PanelContents(KeyTranslation keys = [](const QKeyEvent&) { return NSEvent(); })
        : keys_(std::move(keys)) {}

    std::unique_ptr<OverlayContent> countdown(const CountdownModel& model) override;
    std::unique_ptr<OverlayContent> controlBar(ControlBarModel& model) override;
    std::unique_ptr<OverlayContent> clickRings(const ClickRings& model) override;
    std::unique_ptr<OverlayContent> keystrokes(const Keystrokes& model) override;
    std::unique_ptr<OverlayContent> webcamBubble(WebcamBubbleModel& model) override;
    std::unique_ptr<OverlayContent> areaFrame() override;
    std::unique_ptr<OverlayContent> selection(AreaSelection& model) override;
    std::unique_ptr<OverlayContent> screenChoice(ScreenChoice& model) override;

    /// Wraps any other content in the same kind of panel.
    std::unique_ptr<OverlayContent> content(std::unique_ptr<OverlayWidget> widget);

 private:
    KeyTranslation keys_;
    CompositionWatch composition_;
    PanelStack stack_;
};

}  // namespace lumicrate::views
