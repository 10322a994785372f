#include "Linux/X11/Windows/TopLevel.h"

#include <cstddef>
#include <numeric>
#include <utility>

namespace lumicrate::x11 {

std::vector<xcb_window_t> childrenOf(const Connection& connection, xcb_window_t window) {
    const auto tree = connection.tryAwait(xcb_query_tree_reply, xcb_query_tree(connection.get(), window));
    if (!tree) return {};
    const xcb_window_t* const children = xcb_query_tree_children(tree.get());
    return {children, children + xcb_query_tree_children_length(tree.get())};
}

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

}  // namespace lumicrate::x11
