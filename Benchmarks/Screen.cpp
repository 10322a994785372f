// SPDX-License-Identifier: GPL-3.0-or-later
#include "Benchmarks/Screen.h"

#include <xcb/composite.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <stdexcept>
#include <thread>

namespace lumicrate::bench {

namespace {

// A compositor draws with a delay, and reports nothing when it has drawn.
constexpr auto interval = std::chrono::milliseconds(100);
constexpr int maxReads = 50;

std::vector<std::uint8_t> readWindow(const stage::XcbConnection& connection, std::uint32_t window,
                                     const stage::Area& area) {
    const stage::XcbReply<xcb_get_image_reply_t> reply(xcb_get_image_reply(
        connection.get(),
        xcb_get_image(connection.get(), XCB_IMAGE_FORMAT_Z_PIXMAP,
                      window != 0 ? window : connection.screen()->root, static_cast<std::int16_t>(area.x),
                      static_cast<std::int16_t>(area.y), static_cast<std::uint16_t>(area.width),
                      static_cast<std::uint16_t>(area.height), ~0U),
        nullptr));
    if (!reply) throw std::runtime_error("The screen cannot be read");
    const auto* data = xcb_get_image_data(reply.get());
    return {data, data + xcb_get_image_data_length(reply.get())};
}

bool hasCompositor(const stage::XcbConnection& connection) {
    const auto selection = stage::internAtom(connection.get(), "_NET_WM_CM_S0");
    const stage::XcbReply<xcb_get_selection_owner_reply_t> reply(xcb_get_selection_owner_reply(
        connection.get(), xcb_get_selection_owner(connection.get(), selection), nullptr));
    return reply && reply->owner != XCB_NONE;
}

std::vector<std::uint8_t> readAtRest(const std::string& display, std::uint32_t window,
                                     const stage::Area& area) {
    const stage::XcbConnection connection(display);
    auto before = readWindow(connection, window, area);
    if (!hasCompositor(connection)) return before;
    for (int i = 0; i < maxReads; ++i) {
        std::this_thread::sleep_for(interval);
        auto after = readWindow(connection, window, area);
        if (after == before) return after;
        before = std::move(after);
    }
    throw std::runtime_error("The screen keeps changing");
}

// The share of a source sample in a target sample.
struct Share {
    int index;
    float weight;
};

// For each target sample along one axis, which covers source / target samples.
std::vector<std::vector<Share>> sharesOf(int source, int target) {
    std::vector<std::vector<Share>> all(static_cast<std::size_t>(target));
    const double step = static_cast<double>(source) / target;
    for (int i = 0; i < target; ++i) {
        const double begin = i * step;
        const double end = begin + step;
        for (int j = static_cast<int>(begin); j < std::min(static_cast<int>(std::ceil(end)), source); ++j) {
            const double common = std::min(end, j + 1.0) - std::max(begin, static_cast<double>(j));
            if (common > 0)
                all[static_cast<std::size_t>(i)].push_back({j, static_cast<float>(common / step)});
        }
    }
    return all;
}

}  // namespace

Screen::Screen(int width, int height)
    : width_(width),
      height_(height),
      pixels_(std::size_t{3} * static_cast<std::size_t>(width) * static_cast<std::size_t>(height)) {}

Screen::Screen(const std::string& display, std::uint32_t window, const stage::Area& area)
    : Screen(area.width, area.height) {
    const auto bytes = readAtRest(display, window, area);
    for (std::size_t i = 0; i < pixels_.size(); ++i) {
        pixels_[i] = bytes.at(i / 3 * 4 + i % 3);
    }
}

Screen Screen::scaledTo(int width, int height) const {
    const auto columns = sharesOf(width_, width);
    const auto rows = sharesOf(height_, height);
    Screen scaled(width, height);
    const std::size_t sourceRow = std::size_t{3} * static_cast<std::size_t>(width_);
    std::vector<float> sums(sourceRow);
    float* out = scaled.pixels_.data();
    for (const auto& rowShares : rows) {
        std::fill(sums.begin(), sums.end(), 0.0F);
        for (const auto& [y, weight] : rowShares) {
            const float* row = &pixels_[static_cast<std::size_t>(y) * sourceRow];
            for (std::size_t i = 0; i < sourceRow; ++i) {
                sums[i] += weight * row[i];
            }
        }
        for (const auto& columnShares : columns) {
            for (std::size_t channel = 0; channel < 3; ++channel) {
                float sum = 0;
                for (const auto& [x, weight] : columnShares) {
                    sum += weight * sums[3 * static_cast<std::size_t>(x) + channel];
                }
                *out++ = sum;
            }
        }
    }
    return scaled;
}

std::vector<std::uint8_t> Screen::luma(Matrix matrix, Range range) const {
    const double black = range == Range::Limited ? 16 : 0;
    const double span = range == Range::Limited ? 219 : 255;
    const double red = matrix == Matrix::Bt709 ? 0.2126 : 0.299;
    const double blue = matrix == Matrix::Bt709 ? 0.0722 : 0.114;
    std::vector<std::uint8_t> result;
    result.reserve(pixels_.size() / 3);
    for (std::size_t i = 0; i < pixels_.size(); i += 3) {
        const double value = blue * pixels_[i] + (1 - red - blue) * pixels_[i + 1] + red * pixels_[i + 2];
        result.push_back(static_cast<std::uint8_t>(std::lround(black + span * value / 255)));
    }
    return result;
}

CoveredWindows::CoveredWindows(const std::string& display) : connection_(display) {
    // Required first: without a version the server treats the client as the oldest.
    const stage::XcbReply<xcb_composite_query_version_reply_t> version(xcb_composite_query_version_reply(
        connection_.get(), xcb_composite_query_version(connection_.get(), 0, 4), nullptr));
    const stage::XcbReply<xcb_generic_error_t> refusal(
        version ? xcb_request_check(connection_.get(), xcb_composite_redirect_subwindows_checked(
                                                           connection_.get(), connection_.screen()->root,
                                                           XCB_COMPOSITE_REDIRECT_AUTOMATIC))
                : nullptr);
    if (!version || refusal) throw std::runtime_error("The display cannot keep covered windows");
}

PixelSize sizeOfWindow(const std::string& display, std::uint32_t window) {
    const stage::XcbConnection connection(display);
    const stage::XcbReply<xcb_get_geometry_reply_t> size(
        xcb_get_geometry_reply(connection.get(), xcb_get_geometry(connection.get(), window), nullptr));
    if (!size) throw std::runtime_error("The scene's window is gone");
    return {size->width, size->height};
}

void hidePointer(const std::string& display) {
    const stage::XcbConnection connection(display);
    const auto* screen = connection.screen();
    xcb_warp_pointer(connection.get(), XCB_NONE, screen->root, 0, 0, 0, 0,
                     static_cast<std::int16_t>(screen->width_in_pixels - 1),
                     static_cast<std::int16_t>(screen->height_in_pixels - 1));
    connection.sync();
}

}  // namespace lumicrate::bench
