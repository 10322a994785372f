// SPDX-License-Identifier: GPL-3.0-or-later
// ApplicationPicker: lets the user choose an application by clicking one of its windows.
#pragma once

#include "Platform/NSScreen.h"
#include "Platform/ScreenCaptureKit.h"
#include "Support/Executor.h"
#include "Support/Task.h"

#include <functional>
#include <string>

namespace lumicrate {

class AreaSelector;

/// Main thread only.
class ApplicationPicker {
 public:
    using Picked = std::function<void(const std::string& windowClass)>;

    /// All must outlive the picker.
    struct Services {
        Executor& executor;
        AreaSelector& selector;
        const NSScreens& screens;
        const ScreenCaptureKit& capture;
    };

    explicit ApplicationPicker(const Services& services) : services_(services) {}

    /// Shows the windows of the screen under the pointer to choose from. `picked` is not called if the user
    /// cancels, or if the window names no application.
    void pick(Picked picked);

 private:
    Task<void> ask(Picked picked);

    Services services_;
    RunningTask running_;
};

}  // namespace lumicrate
