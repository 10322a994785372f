#include "Linux/X11/TopLevel.h"

namespace lumicrate::x11 {

std::vector<xcb_window_t> childrenOf(const Connection& connection, xcb_window_t window) {
    const auto tree = connection.tryAwait(xcb_query_tree_reply, xcb_query_tree(connection.get(), window));
    if (!tree) return {};
    const xcb_window_t* const children = xcb_query_tree_children(tree.get());
    return {children, children + xcb_query_tree_children_length(tree.get())};
}

xcb_window_t topLevelOf(const Connection& connection, xcb_window_t window) {
    while (window != XCB_NONE && window != connection.root()) {
        const auto tree = connection.tryAwait(xcb_query_tree_reply, xcb_query_tree(connection.get(), window));
        if (!tree) return XCB_NONE;
        if (tree->parent == connection.root()) return window;
        window = tree->parent;
    }
    return XCB_NONE;
}

}  // namespace lumicrate::x11
