// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/X11/Windows/JudgedWindows.h"

#include "Linux/X11/Windows/WindowFacts.h"
#include "Linux/X11/Windows/WindowOrder.h"
#include "Support/Log.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <utility>

namespace lumicrate::x11 {

JudgedWindows::JudgedWindows(const Connection& connection, SCWindowRule rule)
    : connection_(connection), atoms_(connection), reader_(connection), rule_(std::move(rule)) {
    judge(existing(), {});
    log(LogArea::capture, "windows: ", known_.size(), " judged, ", excluded_.size(), " excluded");
}

/// All top-level windows, and the applications' windows in frames.
std::set<xcb_window_t> JudgedWindows::existing() const {
    std::vector<xcb_window_t> level = childrenOf(connection_, {connection_.root()});
    std::set<xcb_window_t> found(level.begin(), level.end());
    for (int depth = 1; depth < frameDepth && !level.empty(); ++depth) {
        level = childrenOf(connection_, level);
        std::vector<PropertyQuery> states;
        for (const xcb_window_t each : level)
            states.emplace_back(connection_, each, atoms_.wmState);
        for (std::size_t i = 0; i < level.size(); ++i)
            if (states[i].collect().type() != XCB_NONE) found.insert(level[i]);
    }
    return found;
}

/// Before it is judged, so that no change of its class is missed.
void JudgedWindows::follow(xcb_window_t window) const {
    const std::uint32_t events = XCB_EVENT_MASK_STRUCTURE_NOTIFY | XCB_EVENT_MASK_PROPERTY_CHANGE;
    xcb_change_window_attributes(connection_.get(), window, XCB_CW_EVENT_MASK, &events);
}

bool JudgedWindows::knows(xcb_window_t window) const {
    return std::ranges::find(known_, window, &SCWindowFacts::windowID) != known_.end();
}

void JudgedWindows::forget(xcb_window_t window) {
    const auto known = std::ranges::find(known_, window, &SCWindowFacts::windowID);
    if (known == known_.end()) return;
    const bool isExcluded = std::erase(excluded_, window) > 0;
    if (isExcluded && !known->windowClass.empty() && known->processID != 0) {
        const SCWindowFacts departed{.processID = known->processID, .windowClass = known->windowClass};
        const auto isSame = [&](const SCWindowFacts& each) {
            return each.processID == departed.processID && each.windowClass == departed.windowClass;
        };
        if (std::ranges::none_of(departed_, isSame)) departed_.push_back(departed);
    }
    known_.erase(known);
}

void JudgedWindows::read(xcb_window_t window) {
    const auto before = std::ranges::find(known_, window, &SCWindowFacts::windowID);
    follow(window);
    std::optional<SCWindowFacts> facts = reader_.read(window);
    if (!facts) {
        // It may be visible until its event arrives.
        if (before == known_.end()) known_.push_back(goneWindow(window));
    } else if (facts->windowClass.empty() && reader_.insideOf(window) != window) {
        forget(window);
    } else if (before == known_.end()) {
        known_.push_back(*std::move(facts));
    } else {
        *before = *std::move(facts);
    }
}

SCWindowFacts JudgedWindows::goneWindow(xcb_window_t window) const {
    return {.windowID = window, .clientID = clientOf(connection_, window), .unmanaged = true};
}

std::vector<xcb_window_t> JudgedWindows::judge(const std::set<xcb_window_t>& windows,
                                               const std::set<xcb_window_t>& destroyed) {
    const xcb_window_t manager = managerWindow(connection_, atoms_);
    for (const xcb_window_t each : windows) {
        const bool isManagers =
            manager != XCB_NONE && clientOf(connection_, each) == clientOf(connection_, manager);
        if (isManagers) forget(each);
        if (!isManagers && !destroyed.contains(each)) read(each);
    }
    excluded_.clear();
    std::vector<SCWindowFacts> others = known_;
    others.insert(others.end(), departed_.begin(), departed_.end());
    for (const SCWindowFacts& each : known_)
        if (rule_(each, others)) excluded_.push_back(each.windowID);
    std::vector<xcb_window_t> found;
    for (const xcb_window_t each : windows) {
        const bool isExcluded = destroyed.contains(each)
                                    ? rule_(goneWindow(each), others)
                                    : std::ranges::find(excluded_, each) != excluded_.end();
        if (isExcluded) found.push_back(each);
    }
    return found;
}

}  // namespace lumicrate::x11
