// SPDX-License-Identifier: GPL-3.0-or-later
#include "Tests/Stage/Scene/Surface.h"
#include "Tests/Stage/Xcb.h"

#include <algorithm>
#include <cstring>
#include <stdexcept>
#include <utility>
#include <vector>

namespace lumicrate::stage {

namespace {

std::int16_t coordinate(int value) {
    return static_cast<std::int16_t>(value);
}
std::uint16_t length(int value) {
    return static_cast<std::uint16_t>(value);
}

class XSurface final : public Surface {
 public:
    XSurface(std::shared_ptr<XcbConnection> display, const Area& area, const std::string& title);
    XSurface(const XSurface&) = delete;
    XSurface& operator=(const XSurface&) = delete;

    std::unique_ptr<Surface> openWindow(const Area& area, const std::string& title) override {
        return std::make_unique<XSurface>(connection_, area, title);
    }
    std::uint32_t id() const override { return window_; }
    int width() const override { return width_; }
    int height() const override { return height_; }
    StoredImage store(const Image& image) override;
    void setBackground(StoredImage image) override;
    void copy(StoredImage image, const Area& from, int x, int y) override;
    void put(const Image& image, const Area& from, int x, int y) override {
        putInto(window_, image, from, x, y);
    }
    void fill(const Area& area, Color color) override;
    void moveTo(int x, int y) override;
    void sync() override;

 private:
    xcb_connection_t* connection() const { return connection_->get(); }
    void putInto(xcb_drawable_t target, const Image& image, const Area& from, int x, int y);

    std::shared_ptr<XcbConnection> connection_;
    xcb_window_t window_ = XCB_NONE;
    xcb_gcontext_t context_ = XCB_NONE;
    int width_;
    int height_;
};

XSurface::XSurface(std::shared_ptr<XcbConnection> display, const Area& area, const std::string& title)
    : connection_(std::move(display)), width_(area.width), height_(area.height) {
    const auto* screen = connection_->screen();
    if (screen->root_depth != 24) throw std::runtime_error("Scenes are played on displays of depth 24 only");
    window_ = xcb_generate_id(connection());
    const std::uint32_t values[] = {screen->black_pixel, 1, XCB_EVENT_MASK_EXPOSURE};
    xcb_create_window(connection(), XCB_COPY_FROM_PARENT, window_, screen->root, coordinate(area.x),
                      coordinate(area.y), length(width_), length(height_), 0, XCB_WINDOW_CLASS_INPUT_OUTPUT,
                      screen->root_visual, XCB_CW_BACK_PIXEL | XCB_CW_OVERRIDE_REDIRECT | XCB_CW_EVENT_MASK,
                      values);
    xcb_change_property(connection(), XCB_PROP_MODE_REPLACE, window_, XCB_ATOM_WM_NAME, XCB_ATOM_STRING, 8,
                        static_cast<std::uint32_t>(title.size()), title.data());
    static constexpr char name[] = "lumicrate-scene\0Lumicrate-scene";  // instance and class, as a pair
    xcb_change_property(connection(), XCB_PROP_MODE_REPLACE, window_, XCB_ATOM_WM_CLASS, XCB_ATOM_STRING, 8,
                        sizeof name, name);
    context_ = xcb_generate_id(connection());
    // No event for each copy from a covered place.
    const std::uint32_t noExposures = 0;
    xcb_create_gc(connection(), context_, window_, XCB_GC_GRAPHICS_EXPOSURES, &noExposures);
    xcb_map_window(connection(), window_);
    xcb_flush(connection());
    while (const XcbReply<xcb_generic_event_t> event{xcb_wait_for_event(connection())}) {
        if ((event->response_type & 0x7f) == XCB_EXPOSE &&
            reinterpret_cast<const xcb_expose_event_t*>(event.get())->window == window_)
            return;
    }
    throw std::runtime_error("The display went away");
}

StoredImage XSurface::store(const Image& image) {
    const auto pixmap = xcb_generate_id(connection());
    xcb_create_pixmap(connection(), 24, pixmap, window_, length(image.width()), length(image.height()));
    putInto(pixmap, image, {0, 0, image.width(), image.height()}, 0, 0);
    return pixmap;
}

void XSurface::setBackground(StoredImage image) {
    xcb_change_window_attributes(connection(), window_, XCB_CW_BACK_PIXMAP, &image);
    xcb_clear_area(connection(), 0, window_, 0, 0, 0, 0);
}

void XSurface::copy(StoredImage image, const Area& from, int x, int y) {
    xcb_copy_area(connection(), image, window_, context_, coordinate(from.x), coordinate(from.y),
                  coordinate(x), coordinate(y), length(from.width), length(from.height));
}

void XSurface::putInto(xcb_drawable_t target, const Image& image, const Area& from, int x, int y) {
    // In strips, because the length of a request is limited.
    const std::size_t maxLength = std::size_t{xcb_get_maximum_request_length(connection())} * 4 - 64;
    const std::size_t rowBytes = static_cast<std::size_t>(from.width) * 4;
    const int rows =
        std::min(from.height, static_cast<int>(std::min<std::size_t>(maxLength / rowBytes, 256)));
    std::vector<std::uint8_t> strip(rowBytes * static_cast<std::size_t>(std::max(rows, 1)));
    for (int top = 0; top < from.height; top += rows) {
        const int count = std::min(rows, from.height - top);
        for (int row = 0; row < count; ++row) {
            std::memcpy(&strip[rowBytes * static_cast<std::size_t>(row)],
                        image.row(from.y + top + row) + from.x, rowBytes);
        }
        xcb_put_image(connection(), XCB_IMAGE_FORMAT_Z_PIXMAP, target, context_, length(from.width),
                      length(count), coordinate(x), coordinate(y + top), 0, 24,
                      static_cast<std::uint32_t>(rowBytes * static_cast<std::size_t>(count)), strip.data());
    }
}

void XSurface::fill(const Area& area, Color color) {
    xcb_change_gc(connection(), context_, XCB_GC_FOREGROUND, &color);
    const xcb_rectangle_t rectangle{coordinate(area.x), coordinate(area.y), length(area.width),
                                    length(area.height)};
    xcb_poly_fill_rectangle(connection(), window_, context_, 1, &rectangle);
}

void XSurface::moveTo(int x, int y) {
    const std::uint32_t values[] = {static_cast<std::uint32_t>(x), static_cast<std::uint32_t>(y)};
    xcb_configure_window(connection(), window_, XCB_CONFIG_WINDOW_X | XCB_CONFIG_WINDOW_Y, values);
}

void XSurface::sync() {
    if (!connection_->sync()) throw std::runtime_error("The display went away");
    while (const XcbReply<xcb_generic_event_t> event{xcb_poll_for_event(connection())}) {
        // Discarded, so that the queue does not grow.
    }
}

}  // namespace

std::unique_ptr<Surface> openXCanvas(const std::string& title) {
    auto connection = std::make_shared<XcbConnection>("");
    const auto* screen = connection->screen();
    const Area area{0, 0, screen->width_in_pixels, screen->height_in_pixels};
    return std::make_unique<XSurface>(std::move(connection), area, title);
}

}  // namespace lumicrate::stage
