// SPDX-License-Identifier: GPL-3.0-or-later
// ButtonWatch: reports mouse clicks in all windows of an X server.
#pragma once

#include "Linux/X11/Input/ButtonMapping.h"
#include "Linux/X11/Server/Connection.h"
#include "Linux/X11/Server/EventThread.h"
#include "Platform/NSEvent.h"
#include "Support/Executor.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

namespace lumicrate::x11 {

/// Events are selected only while there is a monitor. Left and right follow the user's button mapping. No
/// clicks are reported after the connection is lost.
class ButtonWatch final : public NSMouseMonitoring {
 public:
    /// `mainThread` must outlive the object. `displayName` is an X display (":1"), or empty for $DISPLAY.
    /// Throws PlatformError if the server cannot be reached or does not support XInput 2.
    explicit ButtonWatch(Executor& mainThread, const std::string& displayName = {});
    ~ButtonWatch() override;
    ButtonWatch(const ButtonWatch&) = delete;
    ButtonWatch& operator=(const ButtonWatch&) = delete;

    /// The monitor may outlive the object; it then receives no more clicks.
    std::unique_ptr<NSEventMonitor> addMouseDownMonitor(
        std::function<void(bool secondary)> onMouseDown) override;

    /// The number of events received so far. Any thread.
    std::uint64_t eventCount() const { return events_.eventCount(); }

 private:
    struct Monitors;
    class Monitor;

    void handleEvent(const xcb_generic_event_t& event);
    void select(bool wanted) noexcept;

    Executor& mainThread_;
    std::shared_ptr<Monitors> monitors_;  ///< used on the main thread

    // Guarded by access to events_:
    Connection connection_;
    std::uint8_t inputOpcode_;
    ButtonMapping buttons_;

    EventThread events_;  // Destroyed first: its thread uses all the others.
};

}  // namespace lumicrate::x11
