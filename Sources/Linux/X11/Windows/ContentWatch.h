// ContentWatch: tells when other displays or windows can be captured than before.
#pragma once

#include "Linux/X11/Screens/LayoutWatch.h"
#include "Linux/X11/Server/Connection.h"
#include "Linux/X11/Server/WakeUp.h"
#include "Linux/X11/Windows/WindowAtoms.h"

#include <atomic>
#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <thread>

namespace lumicrate::x11 {

/// Sleeps until the server reports that monitors or windows came, went, moved or changed their order, or that
/// something a window is listed with is another. Ends by itself, and says nothing, when the server is lost.
class ContentWatch {
 public:
    /// While things keep changing, calls follow each other at least this far apart.
    static constexpr std::chrono::milliseconds interval{200};

    /// `onChange` is called on the watch's own thread: at once after the first change, and always again after
    /// the last one. It must neither throw nor destroy the watch. Every change is heard that is made after
    /// the constructor has returned. `displayName` is the X server's, or empty for the one of $DISPLAY.
    /// Throws PlatformError when it can't be reached.
    explicit ContentWatch(std::function<void()> onChange, const std::string& displayName = {});
    /// Waits for a call that is under way; there is none afterwards. Not from within one.
    ~ContentWatch();
    ContentWatch(const ContentWatch&) = delete;
    ContentWatch& operator=(const ContentWatch&) = delete;

 private:
    void run();
    void watchUntilStopped();
    void listenToWindows();
    bool takeEvents();
    bool hears(const xcb_generic_event_t& event) const;
    void wait(std::optional<std::chrono::nanoseconds> until);

    std::function<void()> onChange_;
    Connection connection_;
    WindowAtoms atoms_;
    LayoutWatch layout_;
    WakeUp wakeUp_;
    std::atomic<bool> stopping_ = false;
    std::thread thread_;  // last: it uses all the others
};

}  // namespace lumicrate::x11
