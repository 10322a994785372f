// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/X11/Capture/WindowLayers.h"

#include "Linux/Pictures/WakeUp.h"
#include "Linux/X11/Capture/CaptureContent.h"
#include "Linux/X11/Screens/Displays.h"

#include <algorithm>
#include <utility>

namespace lumicrate::x11 {

namespace {

/// How long a program takes to paint what was uncovered, and how long at most when it is busy.
constexpr std::chrono::milliseconds repaintTime(100);
constexpr std::chrono::milliseconds maxRepaintTime(1000);

/// Only a redirected window has a pixmap.
bool isRedirected(const Connection& connection, xcb_window_t window) {
    const xcb_pixmap_t pixmap = connection.generateId();
    const bool named =
        connection.succeeds(xcb_composite_name_window_pixmap_checked(connection.get(), window, pixmap));
    if (named) xcb_free_pixmap(connection.get(), pixmap);
    return named;
}

PixelRect extentOf(const StackedWindow& window) {
    return {0, 0, window.frame.width, window.frame.height};
}

/// The rectangles without `cut`.
std::vector<PixelRect> without(const std::vector<PixelRect>& rects, const PixelRect& cut) {
    std::vector<PixelRect> left;
    for (const PixelRect& rect : rects) {
        const PixelRect hole = rect.intersection(cut);
        if (hole.isEmpty()) {
            left.push_back(rect);
            continue;
        }
        for (const PixelRect& part : {PixelRect{rect.x, rect.y, rect.width, hole.y - rect.y},
                                      PixelRect{rect.x, hole.maxY(), rect.width, rect.maxY() - hole.maxY()},
                                      PixelRect{rect.x, hole.y, hole.x - rect.x, hole.height},
                                      PixelRect{hole.maxX(), hole.y, rect.maxX() - hole.maxX(), hole.height}})
            if (!part.isEmpty()) left.push_back(part);
    }
    return left;
}

void append(std::vector<PixelRect>& to, const std::vector<PixelRect>& rects) {
    to.insert(to.end(), rects.begin(), rects.end());
}

}  // namespace

WindowLayer::WindowLayer(const Connection& connection, const RenderFormats& formats,
                         const StackedWindow& window, std::vector<PixelRect> hidden, Time now)
    : connection_(connection), formats_(formats), window_(window), damage_(connection, window.id) {
    if (window.viewable && !isRedirected(connection, window.id)) {
        // The border is painted by the server, at once.
        const PixelRect inside = {window.border, window.border, window.frame.width - 2 * window.border,
                                  window.frame.height - 2 * window.border};
        for (PixelRect& rect : hidden)
            rect = rect.offsetBy(-window.frame.x, -window.frame.y).intersection(inside);
        std::erase_if(hidden, [](const PixelRect& rect) { return rect.isEmpty(); });
        unreliableParts_.push_back(
            {extentOf(window), now + repaintTime, std::move(hidden), now + maxRepaintTime});
    }
    xcb_composite_redirect_window(connection.get(), window.id, XCB_COMPOSITE_REDIRECT_AUTOMATIC);
}

WindowLayer::~WindowLayer() {
    freePixels();
    xcb_composite_unredirect_window(connection_.get(), window_.id, XCB_COMPOSITE_REDIRECT_AUTOMATIC);
}

bool WindowLayer::update(const StackedWindow& window, Time now) {
    const StackedWindow before = std::exchange(window_, window);
    if (!std::exchange(stale_, false) && window == before) return false;
    if (!window.viewable) {
        freePixels();
        return true;
    }
    if (window.mappedAt + repaintTime > now)
        unreliableParts_.push_back({extentOf(window), window.mappedAt + repaintTime});
    markGrowth(before.frame, now);
    takePixmap();
    return true;
}

/// When a window grows, its old content stays in the top-left corner; the rest is not painted yet.
void WindowLayer::markGrowth(const PixelRect& before, Time now) {
    std::erase_if(unreliableParts_, [now](const UnreliablePart& part) {
        return part.until <= now && part.unpaintedUntil <= now;
    });
    const PixelRect all = extentOf(window_);
    if (all.width > before.width)
        unreliableParts_.push_back(
            {{before.width, 0, all.width - before.width, all.height}, now + repaintTime});
    if (all.height > before.height)
        unreliableParts_.push_back(
            {{0, before.height, all.width, all.height - before.height}, now + repaintTime});
}

/// The server gives a window a new pixmap whenever it is mapped or resized.
void WindowLayer::takePixmap() {
    freePixels();
    const xcb_render_pictforminfo_t* const format = formats_.find(window_.attributes.visual);
    if (format == nullptr) return;
    xcb_connection_t* const connection = connection_.get();
    pixmap_ = connection_.generateId();
    picture_ = connection_.generateId();
    xcb_composite_name_window_pixmap(connection, window_.id, pixmap_);
    xcb_render_create_picture(connection, picture_, pixmap_, format->id, 0, nullptr);
    if (!window_.attributes.shaped) return;
    shape_ = connection_.generateId();
    xcb_xfixes_create_region_from_window(connection, shape_, window_.id, XCB_SHAPE_SK_BOUNDING);
}

void WindowLayer::freePixels() {
    if (shape_ != XCB_NONE) xcb_xfixes_destroy_region(connection_.get(), shape_);
    shape_ = XCB_NONE;
    if (pixmap_ == XCB_NONE) return;
    xcb_render_free_picture(connection_.get(), picture_);
    xcb_free_pixmap(connection_.get(), pixmap_);
    picture_ = XCB_NONE;
    pixmap_ = XCB_NONE;
}

CanvasSource WindowLayer::source() const {
    const PixelRect& frame = window_.frame;
    return {picture_,
            frame.x,
            frame.y,
            window_.attributes.opaque,
            shape_,
            frame.x + window_.border,
            frame.y + window_.border};
}

bool WindowLayer::handleEvent(const xcb_generic_event_t& event) {
    if (!damage_.handleEvent(event)) return false;
    damaged_ = true;
    return true;
}

void WindowLayer::requestDamage() {
    requested_ = std::exchange(damaged_, false);
    if (requested_) damage_.request();
}

std::vector<PixelRect> WindowLayer::collectDamage() {
    if (!std::exchange(requested_, false)) return {};
    std::vector<PixelRect> damage = damage_.collect();
    for (PixelRect& rect : damage) {
        for (UnreliablePart& part : unreliableParts_)
            part.unpainted = without(part.unpainted, rect.offsetBy(window_.border, window_.border));
        rect = rect.offsetBy(window_.frame.x + window_.border, window_.frame.y + window_.border);
    }
    return damage;
}

std::vector<PixelRect> WindowLayer::unreliable(Time now) const {
    std::vector<PixelRect> rects;
    for (const UnreliablePart& part : unreliableParts_) {
        if (part.until > now) {
            rects.push_back(part.rect);
        } else if (part.unpaintedUntil > now) {
            append(rects, part.unpainted);
        }
    }
    for (PixelRect& rect : rects)
        rect = rect.offsetBy(window_.frame.x, window_.frame.y);
    return rects;
}

std::optional<WindowLayer::Time> WindowLayer::nextReliable(Time now) const {
    std::optional<Time> next;
    for (const UnreliablePart& part : unreliableParts_) {
        const Time due = part.until > now || part.unpainted.empty() ? part.until : part.unpaintedUntil;
        if (due > now) next = std::min(next.value_or(due), due);
    }
    return next;
}

WindowLayers::WindowLayers(const Connection& connection) : connection_(connection), formats_(connection) {
    connection.extension(xcb_composite_id, "Composite");
    connection.await(xcb_composite_query_version_reply, xcb_composite_query_version(connection.get(), 0, 4));
}

std::vector<PixelRect> WindowLayers::update(const std::vector<StackedWindow>& windows,
                                            const WindowStack& stack, Time now) {
    std::erase_if(layers_, [&](const auto& layer) {
        return std::ranges::find(windows, layer.first, &StackedWindow::id) == windows.end();
    });
    std::vector<PixelRect> changed;
    for (const StackedWindow& window : windows) {
        auto layer = layers_.find(window.id);
        if (layer == layers_.end()) {
            std::vector<PixelRect> hidden = stack.coverOf(window);
            append(hidden, without(window.occupied(), rootExtent(connection_)));
            layer =
                layers_.try_emplace(window.id, connection_, formats_, window, std::move(hidden), now).first;
        }
        if (layer->second.update(window, now)) changed.push_back(window.frame);
    }
    return changed;
}

const WindowLayer* WindowLayers::find(xcb_window_t window) const {
    const auto found = layers_.find(window);
    return found == layers_.end() || found->second.pixmap() == XCB_NONE ? nullptr : &found->second;
}

void WindowLayers::renewPixmap(xcb_window_t window) {
    const auto found = layers_.find(window);
    if (found != layers_.end()) found->second.renewPixmap();
}

bool WindowLayers::handleEvent(const xcb_generic_event_t& event) {
    return std::any_of(layers_.begin(), layers_.end(),
                       [&](auto& layer) { return layer.second.handleEvent(event); });
}

void WindowLayers::requestDamage() {
    for (auto& [window, layer] : layers_)
        layer.requestDamage();
}

std::vector<PixelRect> WindowLayers::collectDamage() {
    std::vector<PixelRect> damage;
    for (auto& [window, layer] : layers_)
        append(damage, layer.collectDamage());
    return damage;
}

std::vector<PixelRect> WindowLayers::unreliable(Time now) const {
    std::vector<PixelRect> rects;
    for (const auto& [window, layer] : layers_)
        append(rects, layer.unreliable(now));
    return rects;
}

std::optional<WindowLayers::Time> WindowLayers::nextReliable(Time now) const {
    std::optional<Time> next;
    for (const auto& [window, layer] : layers_)
        next = pictures::earliest({next, layer.nextReliable(now)});
    return next;
}

}  // namespace lumicrate::x11
