#include "Lumicrate/Overlays/Selection/HoverTarget.h"

#include "Lumicrate/Capture/SourceLists.h"

namespace lumicrate {

namespace {

/// Too little to be seen, let alone clicked, otherwise.
constexpr double leastSide = 40;

bool canBePicked(const SCWindow& window, std::int32_t ownProcessID) {
    const auto& owner = window.owningApplication;
    return window.windowLayer == 0 && window.alpha > 0 && !(owner && owner->processID == ownProcessID);
}

std::string titleOf(const SCWindow& window) {
    const std::string application = applicationName(window);
    const std::string title = window.title.value_or("");
    if (title.empty() || title == application) return application;
    if (application.empty() || title.ends_with(application)) return title;
    return title + " — " + application;
}

}  // namespace

std::vector<HoverTarget> hoverTargets(const std::vector<SCWindow>& windows, const Rect& display,
                                      std::int32_t ownProcessID) {
    std::vector<HoverTarget> targets;
    for (const SCWindow& each : windows) {
        if (!canBePicked(each, ownProcessID)) continue;
        const Rect visible =
            each.frame.offsetBy(-display.x, -display.y).intersection({0, 0, display.width, display.height});
        if (visible.width < leastSide || visible.height < leastSide) continue;
        const Rect flipped{visible.x, display.height - visible.maxY(), visible.width, visible.height};
        targets.push_back({flipped, titleOf(each), each.windowID});
    }
    return targets;
}

}  // namespace lumicrate
