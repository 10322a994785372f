// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/X11/Windows/ProcessWindows.h"

#include "Linux/X11/Windows/WindowFacts.h"
#include "Linux/X11/Windows/WindowOrder.h"

#include <algorithm>
#include <utility>

namespace lumicrate::x11 {

ProcessWindows::ProcessWindows(const Connection& connection, std::int32_t processID)
    : connection_(connection), processID_(processID) {
    findExisting();
}

/// The window manager keeps the windows that are minimised or on other desktops in unmapped frames.
void ProcessWindows::findExisting() {
    std::vector<xcb_window_t> level = {connection_.root()};
    for (int depth = 0; depth < frameDepth && !level.empty(); ++depth) {
        level = childrenOf(connection_, level);
        ProcessQuery processes(connection_, level);
        processes.collect();
        std::erase_if(level, [&](xcb_window_t each) {
            const bool own = processes.processOf(each) == processID_;
            if (own) add(each);
            return own;
        });
    }
}

void ProcessWindows::add(xcb_window_t window) {
    if (std::ranges::find(windows_, window) == windows_.end()) windows_.push_back(window);
}

bool ProcessWindows::handleEvent(const xcb_generic_event_t& event) {
    // The bit of events that clients have sent is not masked: those are no reports.
    switch (event.response_type) {
        case XCB_CREATE_NOTIFY: {
            const auto& create = eventAs<xcb_create_notify_event_t>(event);
            if (create.parent != connection_.root()) return false;
            undecided_.insert(create.window);
            // The id may be that of a window that has gone.
            destroyed_.erase(create.window);
            return false;
        }
        case XCB_REPARENT_NOTIFY: {
            const auto& reparent = eventAs<xcb_reparent_notify_event_t>(event);
            if (reparent.parent == connection_.root()) {
                undecided_.insert(reparent.window);
                return false;
            }
            if (!undecided_.contains(reparent.window)) return false;
            hasUndecidedFrame_ = true;
            return true;
        }
        case XCB_DESTROY_NOTIFY: {
            const auto window = eventAs<xcb_destroy_notify_event_t>(event).window;
            std::erase(windows_, window);
            if (undecided_.contains(window)) destroyed_.insert(window);
            return false;
        }
        default:
            return false;
    }
}

std::vector<xcb_window_t> ProcessWindows::resolve() {
    hasUndecidedFrame_ = false;
    const std::set<xcb_window_t> asked = std::exchange(undecided_, {});
    const std::set<xcb_window_t> destroyed = std::exchange(destroyed_, {});
    if (asked.empty()) return {};
    std::vector<xcb_window_t> own(asked.begin(), asked.end());
    ProcessQuery processes(connection_, own);
    processes.collect();
    std::erase_if(own, [&](xcb_window_t each) { return processes.processOf(each) != processID_; });
    for (const xcb_window_t each : own)
        if (!destroyed.contains(each)) add(each);
    return own;
}

}  // namespace lumicrate::x11
