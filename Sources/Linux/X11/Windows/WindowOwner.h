// The application that a window belongs to.
#pragma once

#include "Linux/X11/Server/Property.h"
#include "Linux/X11/Windows/WindowAtoms.h"
#include "Platform/ScreenCaptureKit.h"

#include <xcb/res.h>

#include <cstdint>
#include <optional>
#include <span>
#include <unordered_map>

namespace lumicrate::x11 {

/// Asks the server which processes of this machine have made windows: it knows without their help, and does
/// not repeat what a window of another machine claims. On its way from the constructor on; to be collected
/// before any process is asked for, and once only.
class ProcessQuery {
 public:
    ProcessQuery(const Connection& connection, std::span<const xcb_window_t> windows);

    /// A server without the X-Resource extension knows no processes. Throws PlatformError when it is lost.
    void collect();
    std::optional<std::int32_t> processOf(xcb_window_t window) const;

 private:
    /// All that a client makes has numbers that begin alike.
    std::uint32_t clientOf(std::uint32_t resource) const { return resource & ~resourceMask_; }

    const Connection& connection_;
    std::uint32_t resourceMask_;
    std::optional<xcb_res_query_client_ids_cookie_t> cookie_;
    std::unordered_map<std::uint32_t, std::int32_t> processes_;  // by client
};

/// A question for what a window itself says of its application, on its way from the constructor on. It must
/// be collected, and once only.
class WindowOwnerQuery {
 public:
    WindowOwnerQuery(const Connection& connection, const WindowAtoms& atoms, xcb_window_t window);

    /// Named by the class of the window, else as its process is. Nothing when neither process nor name is
    /// known; without a process, its number is 0. `process` is what the server knows, and goes before what
    /// the window says. Throws PlatformError when the server is lost.
    std::optional<SCRunningApplication> collect(std::optional<std::int32_t> process) const;

 private:
    PropertyQuery processID_;
    PropertyQuery class_;
};

}  // namespace lumicrate::x11
