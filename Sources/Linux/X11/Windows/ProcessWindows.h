// SPDX-License-Identifier: GPL-3.0-or-later
// ProcessWindows: the windows of one process, also those that appear later, and those in frames of a window
// manager.
#pragma once

#include "Linux/X11/Server/Connection.h"

#include <cstdint>
#include <set>
#include <vector>

namespace lumicrate::x11 {

/// Whose a new window is, is known after a round trip, which resolve() makes. Until then the window is
/// undecided. Each window is asked about, and not each client once: a process may open another connection at
/// any time, and the server gives the number of a client that has gone to the next one. One thread at a time.
class ProcessWindows {
 public:
    /// Finds the windows that exist, also unmapped ones. The root window's SUBSTRUCTURE_NOTIFY must have been
    /// selected before. `connection` must outlive the object. Throws PlatformError when the server is lost.
    ProcessWindows(const Connection& connection, std::int32_t processID);

    /// Top-level windows, and windows that lie in those of other programs.
    const std::vector<xcb_window_t>& windows() const { return windows_; }
    /// Whether a top-level window may belong to the process.
    bool isUndecided(xcb_window_t topLevel) const { return undecided_.contains(topLevel); }
    /// Whether an undecided window was moved into another one, which may be its frame.
    bool hasUndecidedFrame() const { return hasUndecidedFrame_; }

    /// Whether the event led to an undecided frame.
    bool handleEvent(const xcb_generic_event_t& event);
    /// Decides about all windows. Returns the process's among them, also those that were destroyed meanwhile.
    /// Without undecided windows there is no round trip. Throws PlatformError when the server is lost.
    std::vector<xcb_window_t> resolve();

 private:
    void findExisting();
    void add(xcb_window_t window);

    const Connection& connection_;
    std::int32_t processID_;
    std::vector<xcb_window_t> windows_;
    std::set<xcb_window_t> undecided_;
    std::set<xcb_window_t> destroyed_;  ///< of the undecided ones
    bool hasUndecidedFrame_ = false;
};

}  // namespace lumicrate::x11
