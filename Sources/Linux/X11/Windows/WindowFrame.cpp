#include "Linux/X11/Windows/WindowFrame.h"

#include <algorithm>
#include <cstdint>

namespace lumicrate::x11 {

namespace {

Margins marginsFrom(const Property& property) {
    const auto numbers = property.numbers();
    // Larger than any window: invalid.
    constexpr std::uint32_t maxMargin = 32767;
    if (numbers.size() < 4 ||
        std::ranges::any_of(numbers.first(4), [](auto each) { return each > maxMargin; }))
        return {};
    return {static_cast<int>(numbers[0]), static_cast<int>(numbers[1]), static_cast<int>(numbers[2]),
            static_cast<int>(numbers[3])};
}

PixelRect widened(const PixelRect& rect, const Margins& margins) {
    return {rect.x - margins.left, rect.y - margins.top, rect.width + margins.left + margins.right,
            rect.height + margins.top + margins.bottom};
}

PixelRect narrowed(const PixelRect& rect, const Margins& margins) {
    return widened(rect, {-margins.left, -margins.right, -margins.top, -margins.bottom});
}

}  // namespace

PixelRect visibleFrame(const WindowGeometry& geometry) {
    if (!geometry.decoration.isEmpty()) {
        const PixelRect decorated = widened(geometry.contents, geometry.decoration);
        if (!geometry.reparented) return decorated;
        // A frame window may have an invisible rim for resizing. A rolled-up window shows less than its
        // contents.
        const PixelRect visible = decorated.intersection(geometry.outline);
        if (!visible.isEmpty()) return visible;
    } else if (!geometry.shadow.isEmpty()) {
        const PixelRect body = narrowed(geometry.contents, geometry.shadow);
        if (!body.isEmpty()) return body;
    }
    return geometry.outline;
}

// Shadows painted by a compositing manager (_KDE_NET_WM_SHADOW) lie outside the window and need no handling.
WindowFrameQuery::WindowFrameQuery(const Connection& connection, const WindowAtoms& atoms,
                                   const OrderedWindow& window, bool hasManager)
    : connection_(&connection),
      reparented_(window.topLevel != window.window),
      hasManager_(hasManager),
      outline_(xcb_get_geometry(connection.get(), window.topLevel)),
      contents_(xcb_get_geometry(connection.get(), window.window)),
      origin_(xcb_translate_coordinates(connection.get(), window.window, connection.root(), 0, 0)),
      decoration_(connection, window.window, atoms.netFrameExtents),
      shadow_(connection, window.window, atoms.gtkFrameExtents) {}

std::optional<PixelRect> WindowFrameQuery::collect() const {
    const auto outline = connection_->tryAwait(xcb_get_geometry_reply, outline_);
    const auto contents = connection_->tryAwait(xcb_get_geometry_reply, contents_);
    const auto origin = connection_->tryAwait(xcb_translate_coordinates_reply, origin_);
    const Property decoration = decoration_.collect();
    const Property shadow = shadow_.collect();
    if (!outline || !contents || !origin) return std::nullopt;
    const int borders = 2 * outline->border_width;
    WindowGeometry geometry;
    geometry.outline = {outline->x, outline->y, outline->width + borders, outline->height + borders};
    geometry.contents = {origin->dst_x, origin->dst_y, contents->width, contents->height};
    geometry.reparented = reparented_;
    if (hasManager_) geometry.decoration = marginsFrom(decoration);
    geometry.shadow = marginsFrom(shadow);
    return visibleFrame(geometry);
}

}  // namespace lumicrate::x11
