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

/// A request for the local processes that created windows, sent by the constructor. Unlike _NET_WM_PID the
/// answer is the server's own knowledge, and never a remote machine's process. Must be collected exactly
/// once, before processOf() is called.
class ProcessQuery {
 public:
    ProcessQuery(const Connection& connection, std::span<const xcb_window_t> windows);

    /// Without the X-Resource extension no process is known. Throws PlatformError when the server is lost.
    void collect();
    std::optional<std::int32_t> processOf(xcb_window_t window) const;

 private:
    /// The ids of all resources of a client have the same high bits.
    std::uint32_t clientOf(std::uint32_t resource) const { return resource & ~resourceMask_; }

    const Connection& connection_;
    std::uint32_t resourceMask_;
    std::optional<xcb_res_query_client_ids_cookie_t> cookie_;
    std::unordered_map<std::uint32_t, std::int32_t> processes_;  // by client
};

/// A request for what a window's properties say about its application, sent by the constructor. Must be
/// collected exactly once.
class WindowOwnerQuery {
 public:
    WindowOwnerQuery(const Connection& connection, const WindowAtoms& atoms, xcb_window_t window);

    /// The name is the window's class, or else the name of its process. `process` is what the server knows;
    /// it overrides _NET_WM_PID. A process id of 0 means unknown; nothing when the name is unknown too.
    /// Throws PlatformError when the server is lost.
    std::optional<SCRunningApplication> collect(std::optional<std::int32_t> process) const;

 private:
    PropertyQuery processID_;
    PropertyQuery class_;
};

}  // namespace lumicrate::x11
