// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/X11/Capture/WindowPictures.h"

#include "Linux/Pictures/PictureScaler.h"
#include "Linux/Pictures/StillPicture.h"
#include "Linux/X11/Capture/DisplayCapture.h"
#include "Linux/X11/Screens/CompositorWatch.h"
#include "Linux/X11/Screens/Displays.h"
#include "Linux/X11/Windows/WindowOrder.h"
#include "Linux/X11/Windows/WindowStack.h"
#include "Support/Error.h"
#include "Support/MediaTime.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstddef>
#include <utility>

namespace lumicrate::x11 {

namespace {

using namespace std::chrono_literals;

/// Longer than a capture waits for a busy program.
constexpr std::chrono::nanoseconds timeout = 1500ms;

PixelRect pixels(const Rect& rect) {
    return {static_cast<int>(std::lround(rect.x)), static_cast<int>(std::lround(rect.y)),
            static_cast<int>(std::lround(rect.width)), static_cast<int>(std::lround(rect.height))};
}

PixelRect outlineOf(const Connection& connection, xcb_window_t topLevel) {
    const auto geometry =
        connection.await(xcb_get_geometry_reply, xcb_get_geometry(connection.get(), topLevel));
    const int borders = 2 * geometry->border_width;
    return {geometry->x, geometry->y, geometry->width + borders, geometry->height + borders};
}

/// Scaled down uniformly, never enlarged; each side has at least one pixel.
PixelRect fitted(const PixelRect& picture, Size maximum) {
    const double scale = std::min({1.0, maximum.width / picture.width, maximum.height / picture.height});
    const auto side = [scale](int pixels) {
        return std::max(static_cast<int>(std::lround(pixels * scale)), 1);
    };
    return {0, 0, side(picture.width), side(picture.height)};
}

pictures::BgraPicture scaledDown(pictures::BgraPicture picture, Size maximum) {
    const PixelRect size = fitted(picture.bounds(), maximum);
    if (size == picture.bounds()) return picture;
    pictures::BgraPicture small(size.width, size.height);
    pictures::PictureScaler(picture.width(), picture.height(), size.width, size.height)
        .scale(picture.view(), size, small, 0, 0);
    return small;
}

}  // namespace

struct WindowPictures::Server {
    explicit Server(const std::string& displayName)
        : connection(displayName), list(displayName), reader(connection) {}

    Connection connection;
    WindowList list;  ///< in pixels
    ScreenReader reader;
};

WindowPictures::WindowPictures(std::string displayName) : displayName_(std::move(displayName)) {}
WindowPictures::~WindowPictures() = default;

/// Tries again with a new connection when the server was lost.
std::optional<CGImage> WindowPictures::withServer(const std::function<std::optional<CGImage>()>& capture) {
    const bool isNew = server_ == nullptr;
    try {
        if (isNew) server_ = std::make_unique<Server>(displayName_);
        return capture();
    } catch (const PlatformError&) {
        const bool isLost = server_ && xcb_connection_has_error(server_->connection.get()) != 0;
        if (!isLost) return std::nullopt;
        server_.reset();
        return isNew ? std::nullopt : withServer(capture);
    }
}

std::optional<CGImage> WindowPictures::captureImage(std::uint32_t windowID, Size maximumSize) {
    if (!(maximumSize.width >= 1 && maximumSize.height >= 1)) return std::nullopt;
    return withServer([&]() -> std::optional<CGImage> {
        const auto bounds = server_->list.bounds(windowID);
        if (!bounds) return std::nullopt;
        const PixelRect frame = pixels(*bounds);
        auto picture = readUncovered(windowID, frame);
        if (!picture) picture = readPixmap(windowID, frame);
        return pictures::imageFrom(scaledDown(*std::move(picture), maximumSize).view());
    });
}

std::optional<CGImage> WindowPictures::captureDisplay(std::uint32_t displayID) {
    return withServer([&]() -> std::optional<CGImage> {
        const auto monitor = findMonitor(server_->connection, displayID);
        if (!monitor) return std::nullopt;
        const PixelRect& frame = monitor->frame;
        const auto read = server_->reader.read({{frame, server_->connection.root(), 0, 0}});
        if (!read.front()) return std::nullopt;
        return pictures::imageFrom(*read.front());
    });
}

/// From the screen, which takes no time and makes no program paint. Nothing when the window is not completely
/// visible.
std::optional<pictures::BgraPicture> WindowPictures::readUncovered(std::uint32_t window,
                                                                   const PixelRect& frame) const {
    const Connection connection(displayName_);
    if (CompositorWatch(connection).active()) return std::nullopt;
    StackWatch watch(connection);
    watch.queryUnknown();
    const StackedWindow* const found = watch.stack().find(topLevelOf(connection, window));
    const PixelRect screen{0, 0, connection.screen().width_in_pixels, connection.screen().height_in_pixels};
    if (found == nullptr || found->attributes.shaped || frame.intersection(screen) != frame ||
        frame.intersection(found->frame) != frame)
        return std::nullopt;
    const auto cover = watch.stack().coverOf(*found);
    if (std::ranges::any_of(cover,
                            [&](const PixelRect& each) { return !each.intersection(frame).isEmpty(); }))
        return std::nullopt;

    const auto read = server_->reader.read({{frame, connection.root(), 0, 0}});
    // The events of all changes before the read have arrived after this.
    connection.sync();
    bool changed = false;
    connection.processQueuedEvents([&](const xcb_generic_event_t& event) {
        changed = watch.handleEvent(event, HostClock::now()) || changed;
    });
    if (changed || !read.front()) return std::nullopt;
    return pictures::BgraPicture(server_->reader.keepFirst(frame.width, frame.height));
}

/// From the window's pixmap, which the server creates if necessary.
pictures::BgraPicture WindowPictures::readPixmap(std::uint32_t window, const PixelRect& frame) const {
    const PixelRect outline = outlineOf(server_->connection, topLevelOf(server_->connection, window));
    SCWindow recorded;
    recorded.windowID = window;
    recorded.frame = {0, 0, double(outline.width), double(outline.height)};
    SCStreamConfiguration configuration;
    configuration.showsCursor = false;
    configuration.sourceRect = Rect{double(frame.x - outline.x), double(frame.y - outline.y),
                                    double(frame.width), double(frame.height)};
    DisplayCapture capture(displayName_, SCContentFilter::desktopIndependent(recorded), configuration);
    pictures::awaitComplete(capture, timeout);
    // A copy: the capture's memory is freed with it.
    return pictures::BgraPicture(capture.picture());
}

}  // namespace lumicrate::x11
