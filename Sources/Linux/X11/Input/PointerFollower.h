// SPDX-License-Identifier: GPL-3.0-or-later
// PointerFollower: reports where the pointer of an X server is, and where its buttons are pressed.
#pragma once

#include "Platform/NSEvent.h"
#include "Support/Executor.h"

#include <functional>
#include <memory>
#include <string>
#include <utility>

namespace lumicrate::x11 {

/// Each monitor is a connection of its own, with a thread that sleeps while the pointer rests. A mouse may
/// report motion a thousand times a second; of that, one event is received per reported position. Buttons
/// follow the user's mapping. Nothing is reported after the connection is lost.
class PointerFollower final : public NSPointerMonitoring {
 public:
    /// `mainThread` must outlive the object and its monitors. `displayName` is an X display (":1"), or empty
    /// for $DISPLAY.
    explicit PointerFollower(Executor& mainThread, std::string displayName = {})
        : mainThread_(mainThread), displayName_(std::move(displayName)) {}

    /// Throws PlatformError if the server cannot be reached or lacks XInput 2.
    std::unique_ptr<NSEventMonitor> addPointerMonitor(
        std::function<void(const NSPointerEvent&)> onEvent) override;

 private:
    Executor& mainThread_;
    std::string displayName_;
};

}  // namespace lumicrate::x11
