// SPDX-License-Identifier: GPL-3.0-or-later
// DeviceMenu: the menus from which a microphone or a camera is chosen, the same in every window.
#pragma once

#include "Lumicrate/Shell/MenuItem.h"
#include "Platform/AVCaptureDevice.h"

#include <functional>
#include <string>
#include <vector>

namespace lumicrate {

/// Called with the id of the device that the user has chosen.
using DeviceChoice = std::function<void(const std::string& id)>;

/// One choice for each device. `chosen` is an id, and so is the argument of `choose`.
std::vector<MenuItem> deviceMenu(const std::vector<CaptureDevice>& devices, const std::string& chosen,
                                 const DeviceChoice& choose);
/// The default microphone, with an empty id, and those that are connected. If `chosen` is not connected, the
/// default is checked, because that is what would be recorded.
std::vector<MenuItem> microphoneMenu(const std::vector<CaptureDevice>& connected, const std::string& chosen,
                                     const DeviceChoice& choose);
/// The title of the choice that microphoneMenu() checks.
std::string microphoneName(const std::vector<CaptureDevice>& connected, const std::string& chosen);

}  // namespace lumicrate
