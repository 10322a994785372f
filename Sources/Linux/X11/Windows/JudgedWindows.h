// SPDX-License-Identifier: GPL-3.0-or-later
// JudgedWindows: the windows of applications, and those among them that a filter's rule excludes.
#pragma once

#include "Linux/X11/Server/Connection.h"
#include "Linux/X11/Windows/FactsReader.h"
#include "Linux/X11/Windows/WindowAtoms.h"
#include "Platform/ScreenCaptureKit.h"

#include <set>
#include <vector>

namespace lumicrate::x11 {

/// Windows of the window manager are not judged: a frame is excluded because of the window in it. One thread
/// at a time; all operations throw PlatformError when the server is lost.
class JudgedWindows {
 public:
    /// Judges the windows that exist, also unmapped ones. The root window's SUBSTRUCTURE_NOTIFY must have
    /// been selected before. `connection` must outlive the object. Selects the structure and property events
    /// of all windows that are judged.
    JudgedWindows(const Connection& connection, SCWindowRule rule);

    bool knows(xcb_window_t window) const;
    const std::vector<xcb_window_t>& excluded() const { return excluded_; }

    /// Judges these windows for the first time or again, and with them all others. Returns those of `windows`
    /// that are excluded, also windows that are gone. `destroyed` are those among them whose event has
    /// arrived.
    std::vector<xcb_window_t> judge(const std::set<xcb_window_t>& windows,
                                    const std::set<xcb_window_t>& destroyed);
    void forget(xcb_window_t window);

 private:
    std::set<xcb_window_t> existing() const;
    void follow(xcb_window_t window) const;
    void read(xcb_window_t window);
    SCWindowFacts goneWindow(xcb_window_t window) const;

    const Connection& connection_;
    WindowAtoms atoms_;
    FactsReader reader_;
    SCWindowRule rule_;
    std::vector<SCWindowFacts> known_;
    std::vector<xcb_window_t> excluded_;
    /// Processes that have had excluded windows of a class: what is left of their windows stays excluded.
    std::vector<SCWindowFacts> departed_;
};

}  // namespace lumicrate::x11
