#include "Linux/X11/Screens/Displays.h"

#include "Linux/X11/Screens/Monitors.h"
#include "Linux/X11/Screens/Points.h"

#include <algorithm>

namespace lumicrate::x11 {

Displays::Displays(const std::string& displayName, double scale) : connection_(displayName), scale_(scale) {}

std::vector<SCDisplay> Displays::displays() const {
    std::vector<SCDisplay> displays;
    for (const Monitor& monitor : readMonitors(connection_)) {
        displays.push_back({monitor.id, pointsFromPixels(monitor.frame, scale_), scale_, monitor.name});
    }
    return displays;
}

std::uint32_t Displays::mainDisplayID() const {
    const std::vector<Monitor> monitors = readMonitors(connection_);
    const auto primary =
        std::find_if(monitors.begin(), monitors.end(), [](const Monitor& each) { return each.isPrimary; });
    return primary == monitors.end() ? monitors.front().id : primary->id;
}

Rect Displays::bounds(std::uint32_t displayID) const {
    const auto monitor = findMonitor(connection_, displayID);
    return monitor ? pointsFromPixels(monitor->frame, scale_) : Rect{};
}

}  // namespace lumicrate::x11
