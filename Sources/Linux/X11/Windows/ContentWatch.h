// SPDX-License-Identifier: GPL-3.0-or-later
// ContentWatch: notices that the displays or windows that can be captured have changed.
#pragma once

#include "Linux/Pictures/WakeUp.h"
#include "Linux/X11/Screens/Displays.h"
#include "Linux/X11/Server/Connection.h"
#include "Linux/X11/Windows/WindowAtoms.h"

#include <atomic>
#include <chrono>
#include <functional>
#include <string>
#include <thread>

namespace lumicrate::x11 {

/// Its thread sleeps until monitors or windows appear, disappear, move or are restacked, or until a property
/// that the window list contains changes. The thread ends silently when the server is lost.
class ContentWatch {
 public:
    /// The shortest time between two calls of the handler.
    static constexpr std::chrono::milliseconds interval{200};

    /// `onChange` is called on the watch's own thread: at once after the first change, then at most once per
    /// interval, and always after the last change. It must neither throw nor destroy the watch. No change
    /// after the constructor's return is missed. `displayName` is the X server's, or empty for that of
    /// $DISPLAY. Throws PlatformError when the server cannot be reached.
    explicit ContentWatch(std::function<void()> onChange, const std::string& displayName = {});
    /// Waits for a running call; no call follows. Not from within the handler.
    ~ContentWatch();
    ContentWatch(const ContentWatch&) = delete;
    ContentWatch& operator=(const ContentWatch&) = delete;

 private:
    void run();
    void watchUntilStopped();
    void selectWindowEvents();
    bool processEvents();
    bool isChange(const xcb_generic_event_t& event) const;

    std::function<void()> onChange_;
    Connection connection_;
    WindowAtoms atoms_;
    LayoutWatch layout_;
    pictures::WakeUp wakeUp_;
    std::atomic<bool> stopping_ = false;
    std::thread thread_;  // last: it uses all the others
};

}  // namespace lumicrate::x11
