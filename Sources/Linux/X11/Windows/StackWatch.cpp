// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/X11/Windows/StackWatch.h"

#include <utility>

namespace lumicrate::x11 {

namespace {

/// A shape of more rectangles than this, a disc for example, is treated as its frame.
constexpr int maxParts = 32;
constexpr int depthWithOpacity = 32;

}  // namespace

StackWatch::StackWatch(const Connection& connection)
    : connection_(connection),
      shapeEvent_(connection.extensionEvent(xcb_shape_id, "SHAPE", XCB_SHAPE_NOTIFY)),
      stack_(connection.root()) {
    connection.selectRootEvents(XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY);
    readStack();
}

bool StackWatch::belongsToServer(xcb_window_t window) const {
    return (window & ~xcb_get_setup(connection_.get())->resource_id_mask) == 0;
}

void StackWatch::readStack() {
    const auto cookie = xcb_query_tree(connection_.get(), connection_.root());
    stackRequest_ = cookie.sequence;
    const auto tree = connection_.await(xcb_query_tree_reply, cookie);
    const xcb_window_t* const children = xcb_query_tree_children(tree.get());
    std::vector<Query> queries;
    for (int i = 0; i < xcb_query_tree_children_length(tree.get()); ++i)
        if (!belongsToServer(children[i])) queries.push_back(sendQuery(children[i]));
    for (const Query& query : queries) {
        StackedWindow window;
        window.id = query.window;
        readReply(query, window);
        stack_.add(std::move(window));
    }
}

std::optional<StackChange> StackWatch::handleEvent(const xcb_generic_event_t& event,
                                                   std::chrono::nanoseconds now) {
    if (event.response_type == shapeEvent_) {
        const auto& shape = eventAs<xcb_shape_notify_event_t>(event);
        if (shape.shape_kind != XCB_SHAPE_SK_BOUNDING) return std::nullopt;
        return stack_.forgetAttributes(shape.affected_window);
    }
    // Older events are part of the stack that was read. Applying a restacking twice would give a wrong order.
    if (static_cast<std::int32_t>(event.full_sequence - stackRequest_) < 0) return std::nullopt;
    if (event.response_type == XCB_CREATE_NOTIFY &&
        belongsToServer(eventAs<xcb_create_notify_event_t>(event).window)) {
        return std::nullopt;
    }
    return stack_.apply(event, now);
}

StackWatch::Query StackWatch::sendQuery(xcb_window_t window) const {
    // Before the queries, so that no change after the replies is missed.
    xcb_shape_select_input(connection_.get(), window, 1);
    return {window, xcb_get_geometry(connection_.get(), window),
            xcb_get_window_attributes(connection_.get(), window),
            xcb_shape_query_extents(connection_.get(), window)};
}

void StackWatch::queryUnknown() {
    std::vector<Query> queries;
    for (const StackedWindow& each : stack_.windows())
        if (each.viewable && !each.attributes.known) queries.push_back(sendQuery(each.id));
    for (const Query& query : queries) {
        StackedWindow window;
        readReply(query, window);
        stack_.setAttributes(query.window, window.frame, window.border, std::move(window.attributes));
    }
}

/// A window that is gone by now counts as one without pixels until its event arrives.
void StackWatch::readReply(const Query& query, StackedWindow& window) const {
    const auto geometry = connection_.tryAwait(xcb_get_geometry_reply, query.geometry);
    const auto reply = connection_.tryAwait(xcb_get_window_attributes_reply, query.attributes);
    const auto shape = connection_.tryAwait(xcb_shape_query_extents_reply, query.shape);
    WindowAttributes& attributes = window.attributes;
    attributes.known = true;
    attributes.inputOnly = !geometry || !reply || reply->_class == XCB_WINDOW_CLASS_INPUT_ONLY;
    if (!geometry || !reply) return;
    const int border = geometry->border_width;
    window.border = border;
    window.frame = {geometry->x, geometry->y, geometry->width + 2 * border, geometry->height + 2 * border};
    window.viewable = reply->map_state == XCB_MAP_STATE_VIEWABLE;
    attributes.visual = reply->visual;
    attributes.opaque = geometry->depth != depthWithOpacity;
    attributes.shaped = shape && shape->bounding_shaped != 0;
    if (attributes.shaped) attributes.parts = shapeParts(query.window, border);
}

std::vector<PixelRect> StackWatch::shapeParts(xcb_window_t window, int border) const {
    const auto shape =
        connection_.tryAwait(xcb_shape_get_rectangles_reply,
                             xcb_shape_get_rectangles(connection_.get(), window, XCB_SHAPE_SK_BOUNDING));
    if (!shape || xcb_shape_get_rectangles_rectangles_length(shape.get()) > maxParts) return {};
    std::vector<PixelRect> parts;
    const xcb_rectangle_t* const rects = xcb_shape_get_rectangles_rectangles(shape.get());
    for (int i = 0; i < xcb_shape_get_rectangles_rectangles_length(shape.get()); ++i)
        parts.push_back({rects[i].x + border, rects[i].y + border, rects[i].width, rects[i].height});
    return parts;
}

}  // namespace lumicrate::x11
