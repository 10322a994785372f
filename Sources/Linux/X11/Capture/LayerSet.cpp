#include "Linux/X11/Capture/LayerSet.h"

#include <algorithm>

namespace lumicrate::x11 {

namespace {

void append(std::vector<PixelRect>& to, const std::vector<PixelRect>& rects) {
    to.insert(to.end(), rects.begin(), rects.end());
}

}  // namespace

LayerSet::LayerSet(const Connection& connection) : connection_(connection), formats_(connection) {
    connection.extension(xcb_composite_id, "Composite");
    connection.await(xcb_composite_query_version_reply, xcb_composite_query_version(connection.get(), 0, 4));
}

std::vector<PixelRect> LayerSet::keep(const std::vector<StackedWindow>& windows, const WindowStack& stack,
                                      Time now) {
    std::erase_if(layers_, [&](const auto& layer) {
        return std::none_of(windows.begin(), windows.end(),
                            [&](const StackedWindow& each) { return each.id == layer.first; });
    });
    std::vector<PixelRect> fresh;
    for (const StackedWindow& window : windows) {
        const auto layer =
            layers_.try_emplace(window.id, connection_, formats_, window, stack.coverOf(window), now).first;
        if (layer->second.follow(window, now)) fresh.push_back(window.frame);
    }
    return fresh;
}

const WindowLayer* LayerSet::find(xcb_window_t window) const {
    const auto found = layers_.find(window);
    return found == layers_.end() || found->second.pixmap() == XCB_NONE ? nullptr : &found->second;
}

void LayerSet::renew(xcb_window_t window) {
    const auto found = layers_.find(window);
    if (found != layers_.end()) found->second.renew();
}

bool LayerSet::hears(const xcb_generic_event_t& event) {
    return std::any_of(layers_.begin(), layers_.end(),
                       [&](auto& layer) { return layer.second.hears(event); });
}

void LayerSet::requestDamage() {
    for (auto& [window, layer] : layers_)
        layer.requestDamage();
}

std::vector<PixelRect> LayerSet::collectDamage() {
    std::vector<PixelRect> damage;
    for (auto& [window, layer] : layers_)
        append(damage, layer.collectDamage());
    return damage;
}

std::vector<PixelRect> LayerSet::untrusted(Time now) const {
    std::vector<PixelRect> rects;
    for (const auto& [window, layer] : layers_)
        append(rects, layer.untrusted(now));
    return rects;
}

std::optional<LayerSet::Time> LayerSet::nextTrust(Time now) const {
    std::optional<Time> next;
    for (const auto& [window, layer] : layers_) {
        const auto trust = layer.nextTrust(now);
        if (trust) next = std::min(next.value_or(*trust), *trust);
    }
    return next;
}

}  // namespace lumicrate::x11
