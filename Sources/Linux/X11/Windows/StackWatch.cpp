#include "Linux/X11/Windows/StackWatch.h"

#include "Linux/X11/Server/RootEvents.h"

#include <utility>

namespace lumicrate::x11 {

namespace {

/// A shape of more rectangles than this, a disc for instance, is taken for its frame.
constexpr int mostParts = 32;
constexpr int depthWithOpacity = 32;

}  // namespace

StackWatch::StackWatch(const Connection& connection)
    : connection_(connection),
      shapeEvent_(static_cast<std::uint8_t>(connection.extension(xcb_shape_id, "SHAPE").first_event +
                                            XCB_SHAPE_NOTIFY)),
      stack_(connection.root()) {
    selectRootEvents(connection, XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY);
    takeInventory();
}

bool StackWatch::isServers(xcb_window_t window) const {
    return (window & ~xcb_get_setup(connection_.get())->resource_id_mask) == 0;
}

void StackWatch::takeInventory() {
    const auto asked = xcb_query_tree(connection_.get(), connection_.root());
    since_ = asked.sequence;
    const auto tree = connection_.await(xcb_query_tree_reply, asked);
    const xcb_window_t* const children = xcb_query_tree_children(tree.get());
    std::vector<Question> questions;
    for (int i = 0; i < xcb_query_tree_children_length(tree.get()); ++i)
        if (!isServers(children[i])) questions.push_back(ask(children[i]));
    for (const Question& question : questions) {
        StackedWindow window;
        window.id = question.window;
        takeAnswer(question, window);
        stack_.add(std::move(window));
    }
}

std::optional<StackChange> StackWatch::hear(const xcb_generic_event_t& event, std::chrono::nanoseconds now) {
    if (event.response_type == shapeEvent_) {
        const auto& shape = reinterpret_cast<const xcb_shape_notify_event_t&>(event);
        if (shape.shape_kind != XCB_SHAPE_SK_BOUNDING) return std::nullopt;
        return stack_.forgetNature(shape.affected_window);
    }
    // What is older is in the inventory already, and restacking twice is not the same as once.
    if (static_cast<std::int32_t>(event.full_sequence - since_) < 0) return std::nullopt;
    if (event.response_type == XCB_CREATE_NOTIFY &&
        isServers(reinterpret_cast<const xcb_create_notify_event_t&>(event).window)) {
        return std::nullopt;
    }
    return stack_.take(event, now);
}

StackWatch::Question StackWatch::ask(xcb_window_t window) const {
    // Before the questions, so that no change after the answers is missed.
    xcb_shape_select_input(connection_.get(), window, 1);
    return {window, xcb_get_geometry(connection_.get(), window),
            xcb_get_window_attributes(connection_.get(), window),
            xcb_shape_query_extents(connection_.get(), window)};
}

void StackWatch::learn() {
    std::vector<Question> questions;
    for (const StackedWindow& each : stack_.windows())
        if (each.viewable && !each.nature.known) questions.push_back(ask(each.id));
    for (const Question& question : questions) {
        StackedWindow window;
        takeAnswer(question, window);
        stack_.learn(question.window, window.frame, window.border, std::move(window.nature));
    }
}

/// A window that is gone by now has no pixels; an event will say so.
void StackWatch::takeAnswer(const Question& question, StackedWindow& window) const {
    const auto geometry = connection_.tryAwait(xcb_get_geometry_reply, question.geometry);
    const auto attributes = connection_.tryAwait(xcb_get_window_attributes_reply, question.attributes);
    const auto shape = connection_.tryAwait(xcb_shape_query_extents_reply, question.shape);
    WindowNature& nature = window.nature;
    nature.known = true;
    nature.inputOnly = !geometry || !attributes || attributes->_class == XCB_WINDOW_CLASS_INPUT_ONLY;
    if (!geometry || !attributes) return;
    const int border = geometry->border_width;
    window.border = border;
    window.frame = {geometry->x, geometry->y, geometry->width + 2 * border, geometry->height + 2 * border};
    window.viewable = attributes->map_state == XCB_MAP_STATE_VIEWABLE;
    nature.visual = attributes->visual;
    nature.opaque = geometry->depth != depthWithOpacity;
    nature.shaped = shape && shape->bounding_shaped != 0;
    if (nature.shaped) nature.parts = partsOf(question.window, border);
}

std::vector<PixelRect> StackWatch::partsOf(xcb_window_t window, int border) const {
    const auto shape =
        connection_.tryAwait(xcb_shape_get_rectangles_reply,
                             xcb_shape_get_rectangles(connection_.get(), window, XCB_SHAPE_SK_BOUNDING));
    if (!shape || xcb_shape_get_rectangles_rectangles_length(shape.get()) > mostParts) return {};
    std::vector<PixelRect> parts;
    const xcb_rectangle_t* const rects = xcb_shape_get_rectangles_rectangles(shape.get());
    for (int i = 0; i < xcb_shape_get_rectangles_rectangles_length(shape.get()); ++i)
        parts.push_back({rects[i].x + border, rects[i].y + border, rects[i].width, rects[i].height});
    return parts;
}

}  // namespace lumicrate::x11
