#include "Linux/X11/Capture/WindowLayer.h"

#include <algorithm>
#include <utility>

namespace lumicrate::x11 {

namespace {

/// What a program needs to paint what was uncovered, and what a busy one may need to begin with it.
constexpr std::chrono::milliseconds repainting(100);
constexpr std::chrono::milliseconds slowRepainting(1000);

/// Only a window whose pixels are already kept apart has a pixmap.
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

/// What is left of the rectangles without `cut`.
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

}  // namespace

WindowLayer::WindowLayer(const Connection& connection, const RenderFormats& formats,
                         const StackedWindow& window, std::vector<PixelRect> cover, Time now)
    : connection_(connection), formats_(formats), window_(window), damage_(connection, window.id) {
    if (window.viewable && !isRedirected(connection, window.id)) {
        // Nobody but the server paints a border.
        const PixelRect inside = {window.border, window.border, window.frame.width - 2 * window.border,
                                  window.frame.height - 2 * window.border};
        for (PixelRect& rect : cover)
            rect = rect.offsetBy(-window.frame.x, -window.frame.y).intersection(inside);
        std::erase_if(cover, [](const PixelRect& rect) { return rect.isEmpty(); });
        doubts_.push_back({extentOf(window), now + repainting, std::move(cover), now + slowRepainting});
    }
    xcb_composite_redirect_window(connection.get(), window.id, XCB_COMPOSITE_REDIRECT_AUTOMATIC);
}

WindowLayer::~WindowLayer() {
    freePixels();
    xcb_composite_unredirect_window(connection_.get(), window_.id, XCB_COMPOSITE_REDIRECT_AUTOMATIC);
}

bool WindowLayer::follow(const StackedWindow& window, Time now) {
    const StackedWindow before = std::exchange(window_, window);
    if (!std::exchange(stale_, false) && window == before) return false;
    if (!window.viewable) {
        freePixels();
        return true;
    }
    if (window.mappedAt + repainting > now)
        doubts_.push_back({extentOf(window), window.mappedAt + repainting});
    doubtGrowth(before.frame, now);
    nameAnew();
    return true;
}

/// A window's content keeps to its top-left corner, or is painted all anew.
void WindowLayer::doubtGrowth(const PixelRect& before, Time now) {
    std::erase_if(doubts_,
                  [now](const Doubt& doubt) { return doubt.until <= now && doubt.unpaintedUntil <= now; });
    const PixelRect all = extentOf(window_);
    if (all.width > before.width)
        doubts_.push_back({{before.width, 0, all.width - before.width, all.height}, now + repainting});
    if (all.height > before.height)
        doubts_.push_back({{0, before.height, all.width, all.height - before.height}, now + repainting});
}

/// A window gets another pixmap with each mapping and size.
void WindowLayer::nameAnew() {
    freePixels();
    const xcb_render_pictforminfo_t* const format = formats_.find(window_.nature.visual);
    if (format == nullptr) return;
    xcb_connection_t* const connection = connection_.get();
    pixmap_ = connection_.generateId();
    picture_ = connection_.generateId();
    xcb_composite_name_window_pixmap(connection, window_.id, pixmap_);
    xcb_render_create_picture(connection, picture_, pixmap_, format->id, 0, nullptr);
    if (!window_.nature.shaped) return;
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
            window_.nature.opaque,
            shape_,
            frame.x + window_.border,
            frame.y + window_.border};
}

bool WindowLayer::hears(const xcb_generic_event_t& event) {
    if (!damage_.hears(event)) return false;
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
        for (Doubt& doubt : doubts_)
            doubt.unpainted = without(doubt.unpainted, rect.offsetBy(window_.border, window_.border));
        rect = rect.offsetBy(window_.frame.x + window_.border, window_.frame.y + window_.border);
    }
    return damage;
}

std::vector<PixelRect> WindowLayer::untrusted(Time now) const {
    std::vector<PixelRect> rects;
    for (const Doubt& doubt : doubts_) {
        if (doubt.until > now) {
            rects.push_back(doubt.rect);
        } else if (doubt.unpaintedUntil > now) {
            rects.insert(rects.end(), doubt.unpainted.begin(), doubt.unpainted.end());
        }
    }
    for (PixelRect& rect : rects)
        rect = rect.offsetBy(window_.frame.x, window_.frame.y);
    return rects;
}

std::optional<WindowLayer::Time> WindowLayer::nextTrust(Time now) const {
    std::optional<Time> next;
    for (const Doubt& doubt : doubts_) {
        const Time trust = doubt.until > now || doubt.unpainted.empty() ? doubt.until : doubt.unpaintedUntil;
        if (trust > now) next = std::min(next.value_or(trust), trust);
    }
    return next;
}

}  // namespace lumicrate::x11
