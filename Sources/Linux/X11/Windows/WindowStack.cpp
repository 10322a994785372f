// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/X11/Windows/WindowStack.h"

#include <algorithm>
#include <utility>

namespace lumicrate::x11 {

namespace {

/// A shape of more rectangles than this, a disc for example, is treated as its frame.
constexpr int maxParts = 32;
constexpr int depthWithOpacity = 32;

/// The server's sizes exclude the border; its positions include it.
PixelRect frameOf(int x, int y, int width, int height, int border) {
    return {x, y, width + 2 * border, height + 2 * border};
}

}  // namespace

bool StackedWindow::hides(const PixelRect& rect) const {
    return attributes.opaque && !attributes.shaped && frame.intersection(rect) == rect;
}

std::vector<PixelRect> StackedWindow::occupied() const {
    if (!hasPixels()) return {};
    if (attributes.parts.empty()) return {frame};
    std::vector<PixelRect> parts = attributes.parts;
    for (PixelRect& part : parts)
        part = part.offsetBy(frame.x, frame.y);
    return parts;
}

const StackedWindow* WindowStack::find(xcb_window_t window) const {
    const auto found = std::ranges::find(windows_, window, &StackedWindow::id);
    return found == windows_.end() ? nullptr : &*found;
}

WindowStack::Place WindowStack::placeOf(xcb_window_t window) {
    return std::ranges::find(windows_, window, &StackedWindow::id);
}

/// An unknown sibling is one of the server's own windows, which are on top.
WindowStack::Place WindowStack::placeAbove(xcb_window_t sibling) {
    if (sibling == XCB_NONE) return windows_.begin();
    const Place found = placeOf(sibling);
    return found == windows_.end() ? found : found + 1;
}

std::vector<PixelRect> WindowStack::coverOf(const StackedWindow& window) const {
    std::vector<PixelRect> cover;
    for (auto each = windows_.rbegin(); each != windows_.rend() && each->id != window.id; ++each) {
        for (const PixelRect& above : each->occupied()) {
            for (const PixelRect& part : window.occupied()) {
                const PixelRect common = above.intersection(part);
                if (!common.isEmpty()) cover.push_back(common);
            }
        }
    }
    return cover;
}

void WindowStack::add(StackedWindow window) {
    windows_.push_back(std::move(window));
}

std::optional<StackChange> WindowStack::apply(const xcb_generic_event_t& event, Time now) {
    // Events sent by clients are requests and not reports. Their extra bit makes them fall through here.
    switch (event.response_type) {
        case XCB_CREATE_NOTIFY:
            return create(eventAs<xcb_create_notify_event_t>(event));
        case XCB_CONFIGURE_NOTIFY:
            return configure(eventAs<xcb_configure_notify_event_t>(event));
        case XCB_CIRCULATE_NOTIFY:
            return circulate(eventAs<xcb_circulate_notify_event_t>(event));
        case XCB_REPARENT_NOTIFY:
            return reparent(eventAs<xcb_reparent_notify_event_t>(event));
        case XCB_GRAVITY_NOTIFY:
            return move(eventAs<xcb_gravity_notify_event_t>(event));
        case XCB_MAP_NOTIFY:
            return setViewable(eventAs<xcb_map_notify_event_t>(event).window, true, now);
        case XCB_UNMAP_NOTIFY:
            return setViewable(eventAs<xcb_unmap_notify_event_t>(event).window, false, now);
        case XCB_DESTROY_NOTIFY:
            return remove(eventAs<xcb_destroy_notify_event_t>(event).window);
        default:
            return std::nullopt;
    }
}

void WindowStack::setAttributes(xcb_window_t window, const PixelRect& frame, int border,
                                WindowAttributes attributes) {
    const Place found = placeOf(window);
    if (found == windows_.end()) return;
    if (found->frame.isEmpty()) {
        found->frame = frame;
        found->border = border;
    }
    found->attributes = std::move(attributes);
}

std::optional<StackChange> WindowStack::forgetAttributes(xcb_window_t window) {
    const StackedWindow* const found = find(window);
    if (found == nullptr) return std::nullopt;
    StackedWindow now = *found;
    now.attributes = {};
    return replace(window, now);
}

std::optional<StackChange> WindowStack::replace(xcb_window_t id, const StackedWindow& now) {
    const Place found = placeOf(id);
    if (found == windows_.end()) return std::nullopt;
    return StackChange{std::exchange(*found, now), now};
}

std::optional<StackChange> WindowStack::remove(xcb_window_t id) {
    const Place found = placeOf(id);
    if (found == windows_.end()) return std::nullopt;
    StackChange change{*found, {}};
    windows_.erase(found);
    change.after.id = id;
    return change;
}

std::optional<StackChange> WindowStack::create(const xcb_create_notify_event_t& event) {
    if (event.parent != root_ || find(event.window) != nullptr) return std::nullopt;
    StackedWindow window;
    window.id = event.window;
    window.border = event.border_width;
    window.frame = frameOf(event.x, event.y, event.width, event.height, event.border_width);
    add(window);
    return StackChange{{}, window};
}

std::optional<StackChange> WindowStack::configure(const xcb_configure_notify_event_t& event) {
    const Place found = placeOf(event.window);
    if (event.event != root_ || found == windows_.end()) return std::nullopt;
    StackedWindow now = *found;
    now.border = event.border_width;
    now.frame = frameOf(event.x, event.y, event.width, event.height, event.border_width);
    StackChange change{*found, now};
    windows_.erase(found);
    windows_.insert(placeAbove(event.above_sibling), std::move(now));
    return change;
}

std::optional<StackChange> WindowStack::circulate(const xcb_circulate_notify_event_t& event) {
    const Place found = placeOf(event.window);
    if (event.event != root_ || found == windows_.end()) return std::nullopt;
    const StackedWindow window = *found;
    windows_.erase(found);
    windows_.insert(event.place == XCB_PLACE_ON_TOP ? windows_.end() : windows_.begin(), window);
    return StackChange{window, window};
}

std::optional<StackChange> WindowStack::reparent(const xcb_reparent_notify_event_t& event) {
    if (event.event != root_) return std::nullopt;
    std::optional<StackChange> left = remove(event.window);
    if (event.parent != root_) return left;
    // The event does not contain the size, which is queried once the window is mapped.
    StackedWindow window;
    window.id = event.window;
    add(window);
    return StackChange{left ? left->before : StackedWindow(), window};
}

std::optional<StackChange> WindowStack::move(const xcb_gravity_notify_event_t& event) {
    const StackedWindow* const found = find(event.window);
    if (event.event != root_ || found == nullptr) return std::nullopt;
    StackedWindow now = *found;
    now.frame.x = event.x;
    now.frame.y = event.y;
    return replace(event.window, now);
}

std::optional<StackChange> WindowStack::setViewable(xcb_window_t id, bool viewable, Time now) {
    const StackedWindow* const found = find(id);
    if (found == nullptr || found->viewable == viewable) return std::nullopt;
    StackedWindow window = *found;
    window.viewable = viewable;
    if (viewable) window.mappedAt = now;
    return replace(id, window);
}

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
