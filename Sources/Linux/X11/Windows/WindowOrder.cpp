// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/X11/Windows/WindowOrder.h"

#include "Linux/X11/Server/Connection.h"

#include <algorithm>
#include <cstddef>
#include <numeric>
#include <optional>
#include <ranges>
#include <unordered_map>
#include <unordered_set>
#include <utility>

namespace lumicrate::x11 {

namespace {

using Clients = std::unordered_map<xcb_window_t, std::vector<xcb_window_t>>;  // by top-level

struct Visibility {
    bool viewable = false;
    bool unmanaged = false;
};

std::vector<Visibility> readVisibility(const Connection& connection,
                                       const std::vector<xcb_window_t>& windows) {
    std::vector<xcb_get_window_attributes_cookie_t> cookies;
    for (const xcb_window_t each : windows)
        cookies.push_back(xcb_get_window_attributes(connection.get(), each));
    std::vector<Visibility> all;
    for (const auto cookie : cookies) {
        const auto attributes = connection.tryAwait(xcb_get_window_attributes_reply, cookie);
        Visibility& visibility = all.emplace_back();
        if (!attributes || attributes->_class != XCB_WINDOW_CLASS_INPUT_OUTPUT) continue;
        visibility.viewable = attributes->map_state == XCB_MAP_STATE_VIEWABLE;
        visibility.unmanaged = attributes->override_redirect != 0;
    }
    return all;
}

Clients clientsByTopLevel(const Connection& connection, const std::vector<xcb_window_t>& windows) {
    const std::vector<Visibility> visibility = readVisibility(connection, windows);
    const std::vector<xcb_window_t> topLevels = topLevelsOf(connection, windows);
    Clients clients;
    for (std::size_t i = 0; i < windows.size(); ++i) {
        if (visibility[i].viewable) clients[topLevels[i]].push_back(windows[i]);
    }
    return clients;
}

/// A window below a top-level one.
struct Descendant {
    xcb_window_t window;
    xcb_window_t topLevel;
};

/// For each top-level window, the first candidate with WM_STATE.
Clients clientsAmong(const Connection& connection, const WindowAtoms& atoms,
                     const std::vector<Descendant>& candidates) {
    std::vector<PropertyQuery> queries;
    for (const Descendant& each : candidates)
        queries.emplace_back(connection, each.window, atoms.wmState);
    Clients found;
    for (std::size_t i = 0; i < candidates.size(); ++i) {
        if (queries[i].collect().type() == XCB_NONE) continue;
        auto& clients = found[candidates[i].topLevel];
        if (clients.empty()) clients.push_back(candidates[i].window);
    }
    return found;
}

std::vector<Descendant> childrenOf(const Connection& connection, const std::vector<Descendant>& parents) {
    std::vector<xcb_query_tree_cookie_t> cookies;
    for (const Descendant& each : parents)
        cookies.push_back(xcb_query_tree(connection.get(), each.window));
    std::vector<Descendant> all;
    for (std::size_t i = 0; i < parents.size(); ++i) {
        const auto tree = connection.tryAwait(xcb_query_tree_reply, cookies[i]);
        if (!tree) continue;
        const xcb_window_t* const each = xcb_query_tree_children(tree.get());
        for (int k = 0; k < xcb_query_tree_children_length(tree.get()); ++k)
            all.push_back({each[k], parents[i].topLevel});
    }
    return all;
}

/// Without a client list: searches for windows with WM_STATE, level by level.
Clients clientsByState(const Connection& connection, const WindowAtoms& atoms,
                       const std::vector<xcb_window_t>& topLevels) {
    std::vector<Descendant> level;
    for (const xcb_window_t each : topLevels)
        level.push_back({each, each});
    Clients clients;
    for (int depth = 0; depth < frameDepth && !level.empty(); ++depth) {
        clients.merge(clientsAmong(connection, atoms, level));
        std::erase_if(level, [&](const Descendant& each) { return clients.contains(each.topLevel); });
        level = childrenOf(connection, level);
    }
    return clients;
}

std::vector<xcb_window_t> readTopLevels(const Connection& connection) {
    const auto tree =
        connection.tryAwait(xcb_query_tree_reply, xcb_query_tree(connection.get(), connection.root()));
    if (!tree) return {};
    const xcb_window_t* const children = xcb_query_tree_children(tree.get());
    return {children, children + xcb_query_tree_children_length(tree.get())};
}

}  // namespace

xcb_window_t topLevelOf(const Connection& connection, xcb_window_t window) {
    return topLevelsOf(connection, {window}).front();
}

std::vector<xcb_window_t> topLevelsOf(const Connection& connection, std::vector<xcb_window_t> windows) {
    std::vector<xcb_window_t> topLevels(windows.size(), XCB_NONE);
    std::vector<std::size_t> climbing(windows.size());
    std::iota(climbing.begin(), climbing.end(), 0U);
    while (!climbing.empty()) {
        std::vector<xcb_query_tree_cookie_t> cookies;
        for (const std::size_t i : climbing)
            cookies.push_back(xcb_query_tree(connection.get(), windows[i]));
        std::vector<std::size_t> next;
        for (std::size_t k = 0; k < climbing.size(); ++k) {
            const std::size_t i = climbing[k];
            const auto tree = connection.tryAwait(xcb_query_tree_reply, cookies[k]);
            if (!tree || tree->parent == XCB_NONE) continue;
            if (tree->parent == connection.root()) {
                topLevels[i] = windows[i];
            } else {
                windows[i] = tree->parent;
                next.push_back(i);
            }
        }
        climbing = std::move(next);
    }
    return topLevels;
}

std::vector<xcb_window_t> childrenOf(const Connection& connection, const std::vector<xcb_window_t>& parents) {
    std::vector<Descendant> level;
    for (const xcb_window_t each : parents)
        level.push_back({each, each});
    std::vector<xcb_window_t> children;
    for (const Descendant& each : childrenOf(connection, level))
        children.push_back(each.window);
    return children;
}

xcb_window_t frameOf(const Connection& connection, const WindowAtoms& atoms, xcb_window_t window) {
    for (bool isOutside = false;; isOutside = true) {
        const PropertyQuery state(connection, window, atoms.wmState);
        const auto tree = connection.tryAwait(xcb_query_tree_reply, xcb_query_tree(connection.get(), window));
        const bool hasState = state.collect().type() != XCB_NONE;
        if (!tree || tree->parent == XCB_NONE || (isOutside && hasState)) return XCB_NONE;
        if (tree->parent == connection.root()) return window;
        window = tree->parent;
    }
}

xcb_window_t managerWindow(const Connection& connection, const WindowAtoms& atoms) {
    // The property survives a window manager that was killed; the window that it names does not.
    const Property checked = PropertyQuery(connection, connection.root(), atoms.supportingWmCheck).collect();
    if (checked.numbers().empty()) return XCB_NONE;
    const xcb_window_t window = checked.numbers().front();
    const Property answer = PropertyQuery(connection, window, atoms.supportingWmCheck).collect();
    return !answer.numbers().empty() && answer.numbers().front() == window ? window : xcb_window_t{XCB_NONE};
}

ManagedWindows readManagedWindows(const Connection& connection, const WindowAtoms& atoms) {
    const PropertyQuery stacking(connection, connection.root(), atoms.clientListStacking);
    const PropertyQuery mapping(connection, connection.root(), atoms.clientList);
    const bool hasManager = managerWindow(connection, atoms) != XCB_NONE;
    const Property lists[] = {stacking.collect(), mapping.collect()};
    if (!hasManager) return {};
    for (const Property& list : lists) {
        const auto windows = list.numbers();
        if (list.type() == XCB_ATOM_WINDOW) return {true, {windows.begin(), windows.end()}};
    }
    return {};
}

WindowOrder readWindowOrder(const Connection& connection, const WindowAtoms& atoms) {
    const ManagedWindows managed = readManagedWindows(connection, atoms);
    std::vector<xcb_window_t> topLevels = readTopLevels(connection);
    const std::vector<Visibility> visibility = readVisibility(connection, topLevels);
    std::unordered_set<xcb_window_t> unmanaged;
    std::vector<xcb_window_t> viewable;
    for (std::size_t i = 0; i < topLevels.size(); ++i) {
        if (!visibility[i].viewable) continue;
        viewable.push_back(topLevels[i]);
        // With a client list, every window outside of it is unmanaged.
        if (managed.known || visibility[i].unmanaged) unmanaged.insert(topLevels[i]);
    }
    const Clients clients = managed.known ? clientsByTopLevel(connection, managed.windows)
                                          : clientsByState(connection, atoms, viewable);

    WindowOrder order{managed.known, {}};
    for (const xcb_window_t topLevel : viewable | std::views::reverse) {
        const auto found = clients.find(topLevel);
        if (found == clients.end()) {
            order.windows.push_back({topLevel, topLevel, !unmanaged.contains(topLevel)});
            continue;
        }
        for (const xcb_window_t client : found->second | std::views::reverse)
            order.windows.push_back({client, topLevel, true});
    }
    return order;
}

}  // namespace lumicrate::x11
