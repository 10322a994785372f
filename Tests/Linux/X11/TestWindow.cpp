#include "Tests/Linux/X11/TestWindow.h"

#include <xcb/shape.h>

#include <iterator>

namespace lumicrate::test {

namespace {

/// A visual of that depth with red, green and blue in the lower 24 bits.
xcb_visualid_t visualOfDepth(xcb_screen_t* screen, int depth) {
    for (auto each = xcb_screen_allowed_depths_iterator(screen); each.rem > 0; xcb_depth_next(&each)) {
        if (each.data->depth == depth && each.data->visuals_len > 0)
            return xcb_depth_visuals_iterator(each.data).data->visual_id;
    }
    throw std::runtime_error("The display has no such depth");
}

}  // namespace

TestWindow::TestWindow(const std::string& displayName, const Look& look)
    : connection_(displayName),
      window_(xcb_generate_id(connection())),
      context_(xcb_generate_id(connection())) {
    xcb_screen_t* const screen = connection_.screen();
    const std::uint8_t depth = look.translucent ? 32 : screen->root_depth;
    const xcb_visualid_t visual = look.translucent ? visualOfDepth(screen, 32) : screen->root_visual;
    // With another depth than the parent's, a colour map and a border are required.
    const xcb_colormap_t colormap = xcb_generate_id(connection());
    xcb_create_colormap(connection(), XCB_COLORMAP_ALLOC_NONE, colormap, screen->root, visual);
    const std::uint32_t values[] = {look.colour, 0, look.managed ? 0U : 1U, XCB_EVENT_MASK_STRUCTURE_NOTIFY,
                                    colormap};
    const PixelRect& frame = look.frame;
    xcb_create_window(connection(), depth, window_, screen->root, static_cast<std::int16_t>(frame.x),
                      static_cast<std::int16_t>(frame.y), static_cast<std::uint16_t>(frame.width),
                      static_cast<std::uint16_t>(frame.height), static_cast<std::uint16_t>(look.borderWidth),
                      XCB_WINDOW_CLASS_INPUT_OUTPUT, visual,
                      XCB_CW_BACK_PIXEL | XCB_CW_BORDER_PIXEL | XCB_CW_OVERRIDE_REDIRECT | XCB_CW_EVENT_MASK |
                          XCB_CW_COLORMAP,
                      std::data(values));
    xcb_create_gc(connection(), context_, window_, 0, nullptr);
    if (!look.title.empty()) {
        xcb_change_property(connection(), XCB_PROP_MODE_REPLACE, window_,
                            stage::internAtom(connection(), "_NET_WM_NAME"),
                            stage::internAtom(connection(), "UTF8_STRING"), 8,
                            static_cast<std::uint32_t>(look.title.size()), look.title.data());
    }
    map();
}

void TestWindow::configure(std::uint16_t mask, const std::vector<int>& values) {
    const std::vector<std::uint32_t> words(values.begin(), values.end());
    xcb_configure_window(connection(), window_, mask, words.data());
    sync();
}

void TestWindow::map() {
    xcb_map_window(connection(), window_);
    sync();
}

void TestWindow::unmap() {
    xcb_unmap_window(connection(), window_);
    sync();
}

void TestWindow::fill(std::uint32_t colour) {
    // As the background, so that the server also paints what is uncovered later.
    xcb_change_window_attributes(connection(), window_, XCB_CW_BACK_PIXEL, &colour);
    xcb_clear_area(connection(), 0, window_, 0, 0, 0, 0);
    sync();
}

void TestWindow::fill(const PixelRect& rect, std::uint32_t colour) {
    const xcb_rectangle_t area = xcbRectangle(rect);
    xcb_change_gc(connection(), context_, XCB_GC_FOREGROUND, &colour);
    xcb_poly_fill_rectangle(connection(), window_, context_, 1, &area);
    sync();
}

void TestWindow::fill(const x11::BgraPicture& picture) {
    const xcb_pixmap_t pixmap = xcb_generate_id(connection());
    xcb_create_pixmap(connection(), connection_.screen()->root_depth, pixmap, window_,
                      static_cast<std::uint16_t>(picture.width()),
                      static_cast<std::uint16_t>(picture.height()));
    put(pixmap, picture);
    xcb_change_window_attributes(connection(), window_, XCB_CW_BACK_PIXMAP, &pixmap);
    xcb_clear_area(connection(), 0, window_, 0, 0, 0, 0);
    xcb_free_pixmap(connection(), pixmap);
    sync();
}

void TestWindow::draw(const x11::BgraPicture& picture) {
    const std::uint32_t values[] = {XCB_BACK_PIXMAP_NONE,
                                    XCB_EVENT_MASK_STRUCTURE_NOTIFY | XCB_EVENT_MASK_EXPOSURE};
    xcb_change_window_attributes(connection(), window_, XCB_CW_BACK_PIXMAP | XCB_CW_EVENT_MASK,
                                 std::data(values));
    put(window_, picture);
    sync();
}

bool TestWindow::waitUntilExposed() {
    while (const stage::XcbReply<xcb_generic_event_t> event{xcb_wait_for_event(connection())})
        if ((event->response_type & 0x7f) == XCB_EXPOSE) return true;
    return false;
}

void TestWindow::put(xcb_drawable_t drawable, const x11::BgraPicture& picture) {
    // Row by row: the size of a request is limited.
    for (int y = 0; y < picture.height(); ++y) {
        xcb_put_image(connection(), XCB_IMAGE_FORMAT_Z_PIXMAP, drawable, context_,
                      static_cast<std::uint16_t>(picture.width()), 1, 0, static_cast<std::int16_t>(y), 0,
                      connection_.screen()->root_depth, static_cast<std::uint32_t>(picture.width()) * 4,
                      reinterpret_cast<const std::uint8_t*>(picture.row(y)));
    }
}

void TestWindow::shape(const std::vector<PixelRect>& parts) {
    std::vector<xcb_rectangle_t> rects;
    for (const PixelRect& part : parts)
        rects.push_back(xcbRectangle(part));
    xcb_shape_rectangles(connection(), XCB_SHAPE_SO_SET, XCB_SHAPE_SK_BOUNDING, XCB_CLIP_ORDERING_UNSORTED,
                         window_, 0, 0, static_cast<std::uint32_t>(rects.size()), rects.data());
    sync();
}

void TestWindow::destroy() {
    xcb_destroy_window(connection(), window_);
    sync();
}

void TestWindow::sync() {
    const stage::XcbReply<xcb_get_input_focus_reply_t> reply(
        xcb_get_input_focus_reply(connection(), xcb_get_input_focus(connection()), nullptr));
    if (!reply) throw std::runtime_error("The X server is gone");
}

}  // namespace lumicrate::test
