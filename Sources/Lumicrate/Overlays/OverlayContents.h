// What the overlays of a recording ask of the interface: their contents, each of which becomes a panel.
#pragma once

#include "Platform/NSPanel.h"
#include "Platform/NSScreen.h"
#include "Support/Geometry.h"

#include <memory>
#include <optional>
#include <vector>

namespace lumicrate {

struct AreaSelection;
class ControlBarModel;
struct ClickRings;
struct CountdownModel;
struct ScreenChoice;

/// The content of a panel that is still to be made.
class OverlayContent {
 public:
    virtual ~OverlayContent() = default;
    /// How large the content likes to be, points.
    virtual Size fittingSize() const = 0;
    /// The panel around the content; asked for once.
    virtual std::unique_ptr<NSPanel> makePanel(NSPanel::Settings settings) = 0;
};

/// The contents mirror their models, which outlive them and the panels made of them. Main thread only.
class OverlayContents {
 public:
    virtual ~OverlayContents() = default;
    virtual std::unique_ptr<OverlayContent> countdown(const CountdownModel& model) = 0;
    virtual std::unique_ptr<OverlayContent> controlBar(ControlBarModel& model) = 0;
    virtual std::unique_ptr<OverlayContent> clickRings(const ClickRings& model) = 0;
    /// A dashed line along the inside of its panel's edges.
    virtual std::unique_ptr<OverlayContent> areaFrame() = 0;
    /// Over a whole screen, with its bars. It takes the keys.
    virtual std::unique_ptr<OverlayContent> selection(AreaSelection& model) = 0;
    virtual std::unique_ptr<OverlayContent> screenChoice(ScreenChoice& model) = 0;
};

/// The screen that was asked for, else the main one, else none.
inline std::optional<NSScreen> screenOrMain(std::optional<NSScreen> wanted, const NSScreens& service) {
    if (wanted) return wanted;
    std::vector<NSScreen> all = service.screens();
    if (all.empty()) return std::nullopt;
    return std::move(all.front());
}

}  // namespace lumicrate
