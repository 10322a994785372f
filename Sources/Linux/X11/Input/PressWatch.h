// SPDX-License-Identifier: GPL-3.0-or-later
// PressWatch: reports the keys and mouse buttons that are pressed and released in all windows of an X server.
#pragma once

#include "Platform/NSEvent.h"
#include "Support/Executor.h"

#include <functional>
#include <memory>
#include <string>
#include <utility>

namespace lumicrate::x11 {

/// Each monitor is a connection of its own, with a thread that sleeps while nothing is pressed. It sees keys
/// also while another program grabs the keyboard, follows the layout, and reports nothing after the
/// connection is lost.
class PressWatch final : public NSGlobalMonitoring {
 public:
    /// `mainThread` must outlive the object and its monitors. `displayName` is an X display (":1"), or empty
    /// for $DISPLAY.
    explicit PressWatch(Executor& mainThread, std::string displayName = {})
        : mainThread_(mainThread), displayName_(std::move(displayName)) {}

    /// Throws PlatformError if the server cannot be reached or lacks XInput 2 or XKEYBOARD.
    std::unique_ptr<NSEventMonitor> addGlobalMonitor(
        std::function<void(const NSGlobalEvent&)> onEvent) override;

 private:
    Executor& mainThread_;
    std::string displayName_;
};

}  // namespace lumicrate::x11
