// SPDX-License-Identifier: GPL-3.0-or-later
#include "Lumicrate/Capture/DeviceMenu.h"

#include "Support/Text.h"

#include <algorithm>

namespace lumicrate {

namespace {

/// The chosen microphone, or the default one.
CaptureDevice microphoneInUse(const std::vector<CaptureDevice>& connected, const std::string& chosen) {
    const auto found = std::ranges::find(connected, chosen, &CaptureDevice::id);
    return found != connected.end() ? *found : CaptureDevice{"", localized("Default Microphone")};
}

}  // namespace

std::vector<MenuItem> deviceMenu(const std::vector<CaptureDevice>& devices, const std::string& chosen,
                                 const DeviceChoice& choose) {
    std::vector<MenuItem> items;
    for (const CaptureDevice& each : devices) {
        items.push_back(MenuItem::command(each.name, [choose, id = each.id] { choose(id); }));
        items.back().checked = each.id == chosen;
    }
    return items;
}

std::vector<MenuItem> microphoneMenu(const std::vector<CaptureDevice>& connected, const std::string& chosen,
                                     const DeviceChoice& choose) {
    std::vector<CaptureDevice> offered{microphoneInUse({}, "")};
    offered.insert(offered.end(), connected.begin(), connected.end());
    return deviceMenu(offered, microphoneInUse(connected, chosen).id, choose);
}

std::string microphoneName(const std::vector<CaptureDevice>& connected, const std::string& chosen) {
    return microphoneInUse(connected, chosen).name;
}

}  // namespace lumicrate
