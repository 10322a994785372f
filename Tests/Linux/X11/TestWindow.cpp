// SPDX-License-Identifier: GPL-3.0-or-later
#include "Tests/Linux/X11/TestWindow.h"

#include <xcb/shape.h>

#include <algorithm>
#include <iterator>
#include <stdexcept>

namespace lumicrate::test {

namespace {

/// A visual of that depth with red, green and blue in the lower 24 bits.
xcb_visualid_t visualOfDepth(const xcb_screen_t& screen, int depth) {
    for (auto each = xcb_screen_allowed_depths_iterator(&screen); each.rem > 0; xcb_depth_next(&each)) {
        if (each.data->depth == depth && each.data->visuals_len > 0)
            return xcb_depth_visuals_iterator(each.data).data->visual_id;
    }
    throw std::runtime_error("The display has no such depth");
}

}  // namespace

TestWindow::TestWindow(const std::string& displayName, const Look& look)
    : connection_(displayName), window_(connection_.generateId()) {
    const xcb_screen_t& screen = connection_.screen();
    const std::uint8_t depth = look.translucent ? 32 : screen.root_depth;
    const xcb_visualid_t visual = look.translucent ? visualOfDepth(screen, 32) : screen.root_visual;
    // With another depth than the parent's, a colour map and a border are required.
    const xcb_colormap_t colormap = connection_.generateId();
    xcb_create_colormap(connection_.get(), XCB_COLORMAP_ALLOC_NONE, colormap, screen.root, visual);
    const std::uint32_t values[] = {look.colour, 0, look.managed ? 0U : 1U, XCB_EVENT_MASK_STRUCTURE_NOTIFY,
                                    colormap};
    const xcb_rectangle_t frame = xcbRectangle(look.frame);
    xcb_create_window(connection_.get(), depth, window_, screen.root, frame.x, frame.y, frame.width,
                      frame.height, static_cast<std::uint16_t>(look.borderWidth),
                      XCB_WINDOW_CLASS_INPUT_OUTPUT, visual,
                      XCB_CW_BACK_PIXEL | XCB_CW_BORDER_PIXEL | XCB_CW_OVERRIDE_REDIRECT | XCB_CW_EVENT_MASK |
                          XCB_CW_COLORMAP,
                      std::data(values));
    if (!look.title.empty()) setProperty("_NET_WM_NAME", "UTF8_STRING", look.title);
    if (!look.windowClass.empty()) setClass(look.windowClass);
    if (look.transientFor != XCB_NONE) setProperty("WM_TRANSIENT_FOR", "WINDOW", {look.transientFor});
    map();
}

xcb_pixmap_t TestWindow::paint(const pictures::BgraPicture& picture, bool asBackground) {
    xcb_connection_t* const xcb = connection_.get();
    const std::uint8_t depth = connection_.screen().root_depth;
    const auto width = static_cast<std::uint16_t>(picture.width());
    const auto height = static_cast<std::uint16_t>(picture.height());
    const xcb_pixmap_t pixmap = asBackground ? connection_.generateId() : std::uint32_t{XCB_BACK_PIXMAP_NONE};
    if (asBackground) xcb_create_pixmap(xcb, depth, pixmap, connection_.root(), width, height);
    xcb_change_window_attributes(xcb, window_, XCB_CW_BACK_PIXMAP, &pixmap);
    const xcb_gcontext_t context = connection_.generateId();
    xcb_create_gc(xcb, context, connection_.root(), 0, nullptr);
    xcb_put_image(xcb, XCB_IMAGE_FORMAT_Z_PIXMAP, asBackground ? pixmap : window_, context, width, height, 0,
                  0, 0, depth, 4U * width * height, reinterpret_cast<const std::uint8_t*>(picture.row(0)));
    xcb_free_gc(xcb, context);
    if (asBackground) xcb_clear_area(xcb, 0, window_, 0, 0, 0, 0);
    sync();
    return pixmap;
}

void TestWindow::fill(std::uint32_t colour) {
    xcb_change_window_attributes(connection_.get(), window_, XCB_CW_BACK_PIXEL, &colour);
    sync(xcb_clear_area(connection_.get(), 0, window_, 0, 0, 0, 0));
}

void TestWindow::fill(const PixelRect& rect, std::uint32_t colour) {
    const xcb_rectangle_t area = xcbRectangle(rect);
    const xcb_gcontext_t context = connection_.generateId();
    xcb_create_gc(connection_.get(), context, window_, XCB_GC_FOREGROUND, &colour);
    xcb_poly_fill_rectangle(connection_.get(), window_, context, 1, &area);
    sync(xcb_free_gc(connection_.get(), context));
}

void TestWindow::draw(const pictures::BgraPicture& picture) {
    const std::uint32_t events = XCB_EVENT_MASK_STRUCTURE_NOTIFY | XCB_EVENT_MASK_EXPOSURE;
    xcb_change_window_attributes(connection_.get(), window_, XCB_CW_EVENT_MASK, &events);
    paint(picture, false);
}

bool TestWindow::waitUntilExposed() {
    while (const x11::Reply<xcb_generic_event_t> event{xcb_wait_for_event(connection_.get())})
        if (x11::eventType(*event) == XCB_EXPOSE) return true;
    return false;
}

void TestWindow::shape(const std::vector<PixelRect>& parts) {
    std::vector<xcb_rectangle_t> rects;
    for (const PixelRect& part : parts)
        rects.push_back(xcbRectangle(part));
    sync(xcb_shape_rectangles(connection_.get(), XCB_SHAPE_SO_SET, XCB_SHAPE_SK_BOUNDING,
                              XCB_CLIP_ORDERING_UNSORTED, window_, 0, 0,
                              static_cast<std::uint32_t>(rects.size()), rects.data()));
}

std::uint32_t makeWindow(TestWindow& by, std::uint32_t parent, std::uint16_t windowClass, bool mapped) {
    const x11::Connection& connection = by.connection();
    const std::uint32_t id = connection.generateId();
    xcb_create_window(connection.get(), XCB_COPY_FROM_PARENT, id, parent, 0, 0, 100, 60, 0, windowClass,
                      XCB_COPY_FROM_PARENT, 0, nullptr);
    if (mapped) xcb_map_window(connection.get(), id);
    by.sync();
    return id;
}

void ask(TestWindow& window, const char* request, const std::vector<std::uint32_t>& data) {
    const x11::Connection& connection = window.connection();
    xcb_client_message_event_t event{};
    event.response_type = XCB_CLIENT_MESSAGE;
    event.format = 32;
    event.window = window.id();
    event.type = connection.internAtom(request);
    std::ranges::copy(data, std::begin(event.data.data32));
    window.sync(xcb_send_event(connection.get(), 0, connection.root(),
                               XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT | XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY,
                               reinterpret_cast<const char*>(&event)));
}

}  // namespace lumicrate::test
