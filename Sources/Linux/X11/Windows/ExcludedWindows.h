// SPDX-License-Identifier: GPL-3.0-or-later
// ExcludedWindows: the windows that a filter excludes by their process or by its rule, also those that appear
// later, and those in frames of a window manager.
#pragma once

#include "Linux/X11/Server/Connection.h"
#include "Linux/X11/Windows/JudgedWindows.h"
#include "Platform/ScreenCaptureKit.h"

#include <cstdint>
#include <optional>
#include <set>
#include <vector>

namespace lumicrate::x11 {

/// Whose a new window is, is known after a round trip, which resolve() makes. Until then the window is
/// undecided. Each window is asked about, and not each client once: a process may open another connection at
/// any time, and the server gives the number of a client that has gone to the next one. With a rule, a window
/// is also undecided after it was mapped and when its class has changed. One thread at a time.
class ExcludedWindows {
 public:
    /// Finds the windows that exist, also unmapped ones. The root window's SUBSTRUCTURE_NOTIFY must have been
    /// selected before. `rule` may be empty. `connection` must outlive the object. Throws PlatformError when
    /// the server is lost.
    ExcludedWindows(const Connection& connection, std::optional<std::int32_t> processID, SCWindowRule rule);

    /// Top-level windows, and windows that lie in those of other programs.
    const std::vector<xcb_window_t>& windows() const { return windows_; }
    /// Whether the owner must keep the property events of windows selected.
    bool followsProperties() const { return judged_.has_value(); }
    bool hasUndecided() const { return !undecided_.empty(); }
    /// Whether a top-level window may have to be excluded.
    bool isUndecided(xcb_window_t topLevel) const { return undecided_.contains(topLevel); }
    /// Whether an undecided window lies in another one, which may be its frame.
    bool hasUndecidedFrame() const { return hasUndecidedFrame_; }

    /// Whether the event led to an undecided frame.
    bool handleEvent(const xcb_generic_event_t& event);
    /// Decides about all windows. Returns the undecided ones that are excluded, also those that were
    /// destroyed meanwhile. Without undecided windows there is no round trip. Throws PlatformError when the
    /// server is lost.
    std::vector<xcb_window_t> resolve();

 private:
    void findExisting();
    bool handleReparent(const xcb_reparent_notify_event_t& reparent);
    bool judgeAgain(xcb_window_t window, bool isTopLevel);
    std::vector<xcb_window_t> ofProcess(const std::set<xcb_window_t>& asked) const;
    void addOwn(xcb_window_t window);
    void listAll();

    const Connection& connection_;
    std::optional<std::int32_t> processID_;
    std::optional<JudgedWindows> judged_;
    std::vector<xcb_window_t> own_;  ///< of the process
    std::vector<xcb_window_t> windows_;
    std::set<xcb_window_t> undecided_;
    std::set<xcb_window_t> destroyed_;  ///< of the undecided ones
    bool hasUndecidedFrame_ = false;
};

}  // namespace lumicrate::x11
