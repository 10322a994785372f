// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/X11/Windows/ExcludedWindows.h"

#include "Linux/X11/Windows/WindowFacts.h"
#include "Linux/X11/Windows/WindowOrder.h"

#include <algorithm>
#include <utility>

namespace lumicrate::x11 {

ExcludedWindows::ExcludedWindows(const Connection& connection, std::optional<std::int32_t> processID,
                                 SCWindowRule rule)
    : connection_(connection), processID_(processID) {
    if (processID_) findExisting();
    if (rule) judged_.emplace(connection, std::move(rule));
    listAll();
}

/// The window manager keeps the windows that are minimised or on other desktops in unmapped frames.
void ExcludedWindows::findExisting() {
    std::vector<xcb_window_t> level = {connection_.root()};
    for (int depth = 0; depth < frameDepth && !level.empty(); ++depth) {
        level = childrenOf(connection_, level);
        ProcessQuery processes(connection_, level);
        processes.collect();
        std::erase_if(level, [&](xcb_window_t each) {
            const bool own = processes.processOf(each) == processID_;
            if (own) addOwn(each);
            return own;
        });
    }
}

void ExcludedWindows::addOwn(xcb_window_t window) {
    if (std::ranges::find(own_, window) == own_.end()) own_.push_back(window);
}

void ExcludedWindows::listAll() {
    windows_ = own_;
    if (judged_) windows_.insert(windows_.end(), judged_->excluded().begin(), judged_->excluded().end());
}

bool ExcludedWindows::handleEvent(const xcb_generic_event_t& event) {
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
        case XCB_REPARENT_NOTIFY:
            return handleReparent(eventAs<xcb_reparent_notify_event_t>(event));
        case XCB_MAP_NOTIFY: {
            const auto& map = eventAs<xcb_map_notify_event_t>(event);
            return judgeAgain(map.window, map.event == connection_.root());
        }
        case XCB_PROPERTY_NOTIFY: {
            const auto& property = eventAs<xcb_property_notify_event_t>(event);
            return property.atom == XCB_ATOM_WM_CLASS && judgeAgain(property.window, false);
        }
        case XCB_DESTROY_NOTIFY: {
            const auto window = eventAs<xcb_destroy_notify_event_t>(event).window;
            std::erase(own_, window);
            std::erase(windows_, window);
            if (judged_) judged_->forget(window);
            if (undecided_.contains(window)) destroyed_.insert(window);
            return false;
        }
        default:
            return false;
    }
}

bool ExcludedWindows::handleReparent(const xcb_reparent_notify_event_t& reparent) {
    if (reparent.parent == connection_.root()) {
        undecided_.insert(reparent.window);
        return false;
    }
    if (judged_) {
        undecided_.insert(reparent.window);
        // It counts as a window without a class until a window lies in it.
        if (judged_->knows(reparent.parent)) undecided_.insert(reparent.parent);
    }
    if (!undecided_.contains(reparent.window)) return false;
    hasUndecidedFrame_ = true;
    return true;
}

/// With a rule only.
bool ExcludedWindows::judgeAgain(xcb_window_t window, bool isTopLevel) {
    if (!judged_) return false;
    undecided_.insert(window);
    hasUndecidedFrame_ = hasUndecidedFrame_ || !isTopLevel;
    return !isTopLevel;
}

std::vector<xcb_window_t> ExcludedWindows::resolve() {
    hasUndecidedFrame_ = false;
    const std::set<xcb_window_t> asked = std::exchange(undecided_, {});
    const std::set<xcb_window_t> destroyed = std::exchange(destroyed_, {});
    if (asked.empty()) return {};
    std::vector<xcb_window_t> found = ofProcess(asked);
    for (const xcb_window_t each : found)
        if (!destroyed.contains(each)) addOwn(each);
    if (judged_) {
        const std::vector<xcb_window_t> excluded = judged_->judge(asked, destroyed);
        found.insert(found.end(), excluded.begin(), excluded.end());
    }
    listAll();
    return found;
}

std::vector<xcb_window_t> ExcludedWindows::ofProcess(const std::set<xcb_window_t>& asked) const {
    if (!processID_) return {};
    std::vector<xcb_window_t> own(asked.begin(), asked.end());
    ProcessQuery processes(connection_, own);
    processes.collect();
    std::erase_if(own, [&](xcb_window_t each) { return processes.processOf(each) != processID_; });
    return own;
}

}  // namespace lumicrate::x11
