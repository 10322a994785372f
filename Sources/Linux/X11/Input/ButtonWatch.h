// ButtonWatch: hears of mouse buttons, whatever window of an X server is under the pointer.
#pragma once

#include "Linux/X11/Server/Connection.h"
#include "Linux/X11/Server/EventThread.h"
#include "Platform/NSEvent.h"
#include "Support/Executor.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace lumicrate::x11 {

/// The server is asked to tell only while there is a monitor. Buttons count as the user has arranged them.
/// Where the server goes, no more presses come.
class ButtonWatch final : public NSMouseMonitoring {
 public:
    /// `mainThread` must outlive this; `displayName` is the X server's (":1"), or empty for the one of
    /// $DISPLAY. Throws PlatformError when no server can be reached, or it can't tell.
    explicit ButtonWatch(Executor& mainThread, const std::string& displayName = {});
    ~ButtonWatch() override;
    ButtonWatch(const ButtonWatch&) = delete;
    ButtonWatch& operator=(const ButtonWatch&) = delete;

    /// The monitor may outlive this, and then hears of nothing.
    std::unique_ptr<NSEventMonitor> addMouseDownMonitor(
        std::function<void(bool secondary)> onMouseDown) override;

    /// How many events the server has told so far. Any thread.
    std::uint64_t eventCount() const { return events_.eventCount(); }

 private:
    struct Monitors;
    class Monitor;

    void hear(const xcb_generic_event_t& event);
    void select(bool wanted) noexcept;
    void readArrangement();

    Executor& mainThread_;
    std::shared_ptr<Monitors> monitors_;  ///< the main thread's

    // Whoever has access to events_:
    Connection connection_;
    std::uint8_t inputOpcode_;
    std::vector<std::uint8_t> arrangement_;  ///< what the first, second … button counts as

    EventThread events_;  // last: its thread uses all the others
};

}  // namespace lumicrate::x11
