// SPDX-License-Identifier: GPL-3.0-or-later
// Connection: a client of a Wayland compositor that never waits longer than its timeout.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

struct wl_display;
struct wl_registry;

namespace lumicrate::wayland {

/// One thread at a time.
class Connection {
 public:
    /// `onRemoved` may be empty.
    struct Globals {
        std::function<void(std::uint32_t name, std::string_view interface, std::uint32_t version)> onAdded;
        std::function<void(std::uint32_t name)> onRemoved;
    };

    /// `displayName` is the compositor's socket ("wayland-1"), or empty for that of $WAYLAND_DISPLAY. Throws
    /// PlatformError when no compositor answers.
    Connection(const std::string& displayName, std::chrono::milliseconds timeout);
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;
    ~Connection();

    wl_display* get() const { return display_.get(); }
    wl_registry* registry() const { return registry_; }

    /// Reports the compositor's globals from now on, during sync(): all that exist during the first.
    void followGlobals(Globals globals);
    /// Returns when the compositor has answered all requests, and events have been handled. Throws
    /// PlatformError when it does not answer within the timeout or is gone; then all later calls do.
    void sync();
    /// Handles events until one of them has set `isDone`; false if none has within the timeout. Throws
    /// PlatformError when the compositor is gone.
    bool await(const bool& isDone, std::chrono::milliseconds timeout);

 private:
    using Clock = std::chrono::steady_clock;
    struct Disconnect {
        void operator()(wl_display* display) const;
    };

    bool readEvents(Clock::time_point deadline);

    std::unique_ptr<wl_display, Disconnect> display_;
    std::chrono::milliseconds timeout_;
    wl_registry* registry_ = nullptr;
    Globals globals_;
};

}  // namespace lumicrate::wayland
