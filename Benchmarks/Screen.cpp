#include "Benchmarks/Screen.h"

#include "Tests/Stage/Xcb.h"

#include <cmath>
#include <stdexcept>

namespace lumicrate::bench {

Screen::Screen(const std::string& display) {
    const stage::XcbConnection connection(display);
    const auto* screen = connection.screen();
    width_ = screen->width_in_pixels;
    height_ = screen->height_in_pixels;
    const stage::XcbReply<xcb_get_image_reply_t> reply(
        xcb_get_image_reply(connection.get(),
                            xcb_get_image(connection.get(), XCB_IMAGE_FORMAT_Z_PIXMAP, screen->root, 0, 0,
                                          screen->width_in_pixels, screen->height_in_pixels, ~0U),
                            nullptr));
    if (!reply) throw std::runtime_error("The screen cannot be read");
    const auto* data = xcb_get_image_data(reply.get());
    pixels_.assign(data, data + xcb_get_image_data_length(reply.get()));
}

std::vector<std::uint8_t> Screen::luma(Matrix matrix) const {
    const double red = matrix == Matrix::Bt709 ? 0.2126 : 0.299;
    const double blue = matrix == Matrix::Bt709 ? 0.0722 : 0.114;
    std::vector<std::uint8_t> result;
    result.reserve(pixels_.size() / 4);
    for (std::size_t i = 0; i < pixels_.size(); i += 4) {
        const double value = blue * pixels_[i] + (1 - red - blue) * pixels_[i + 1] + red * pixels_[i + 2];
        result.push_back(static_cast<std::uint8_t>(std::lround(16 + 219 * value / 255)));
    }
    return result;
}

void hidePointer(const std::string& display) {
    const stage::XcbConnection connection(display);
    const auto* screen = connection.screen();
    xcb_warp_pointer(connection.get(), XCB_NONE, screen->root, 0, 0, 0, 0,
                     static_cast<std::int16_t>(screen->width_in_pixels - 1),
                     static_cast<std::int16_t>(screen->height_in_pixels - 1));
    const stage::XcbReply<xcb_get_input_focus_reply_t> done(
        xcb_get_input_focus_reply(connection.get(), xcb_get_input_focus(connection.get()), nullptr));
}

}  // namespace lumicrate::bench
