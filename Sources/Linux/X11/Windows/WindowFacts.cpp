// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/X11/Windows/WindowFacts.h"

#include "Linux/X11/Windows/WindowText.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <fstream>
#include <limits>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

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
    return narrowed(rect, {-margins.left, -margins.right, -margins.top, -margins.bottom});
}

/// The name of a running process; empty when there is none.
std::string programName(std::int32_t processID) {
    std::ifstream file("/proc/" + std::to_string(processID) + "/comm");
    std::string name;
    std::getline(file, name);
    return textFromUtf8(name);
}

std::optional<std::int32_t> processIn(const Property& property) {
    const auto numbers = property.numbers();
    constexpr std::uint32_t maxProcess = std::numeric_limits<std::int32_t>::max();
    if (numbers.empty() || numbers.front() == 0 || numbers.front() > maxProcess) return std::nullopt;
    return static_cast<std::int32_t>(numbers.front());
}

/// The layers of types; 0 for types that are not listed.
constexpr std::array<std::pair<std::string_view, int>, 14> layersByName{{
    {"_NET_WM_WINDOW_TYPE_DESKTOP", windowLayer::desktop},
    {"_NET_WM_WINDOW_TYPE_NORMAL", 0},
    {"_NET_WM_WINDOW_TYPE_DIALOG", 0},
    {"_NET_WM_WINDOW_TYPE_UTILITY", 0},
    {"_NET_WM_WINDOW_TYPE_SPLASH", 0},
    {"_NET_WM_WINDOW_TYPE_TOOLBAR", 3},
    {"_NET_WM_WINDOW_TYPE_MENU", 3},
    {"_NET_WM_WINDOW_TYPE_DOCK", windowLayer::dock},
    {"_NET_WM_WINDOW_TYPE_NOTIFICATION", windowLayer::notification},
    {"_NET_WM_WINDOW_TYPE_DROPDOWN_MENU", 101},
    {"_NET_WM_WINDOW_TYPE_POPUP_MENU", 101},
    {"_NET_WM_WINDOW_TYPE_COMBO", 101},
    {"_NET_WM_WINDOW_TYPE_TOOLTIP", 102},
    {"_NET_WM_WINDOW_TYPE_DND", 500},
}};

}  // namespace

PixelRect narrowed(const PixelRect& rect, const Margins& margins) {
    return {rect.x + margins.left, rect.y + margins.top, rect.width - margins.left - margins.right,
            rect.height - margins.top - margins.bottom};
}

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
    const auto geometry = collectGeometry();
    return geometry ? std::optional(visibleFrame(*geometry)) : std::nullopt;
}

std::optional<WindowGeometry> WindowFrameQuery::collectGeometry() const {
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
    return geometry;
}

WindowTypeLayers::WindowTypeLayers(const Connection& connection) {
    std::vector<std::string_view> names;
    for (const auto& [name, layer] : layersByName)
        names.push_back(name);
    const std::vector<xcb_atom_t> atoms = connection.internAtoms(names);
    for (std::size_t i = 0; i < atoms.size(); ++i)
        layers_.emplace(atoms[i], layersByName.at(i).second);
}

int WindowTypeLayers::layerOf(const Property& types, bool managed) const {
    const auto known =
        std::ranges::find_if(types.numbers(), [&](xcb_atom_t type) { return layers_.contains(type); });
    const int layer = known == types.numbers().end() ? 0 : layers_.at(*known);
    return managed || layer != 0 ? layer : windowLayer::unmanaged;
}

ProcessQuery::ProcessQuery(const Connection& connection, std::span<const xcb_window_t> windows)
    : connection_(connection) {
    if (windows.empty() || !connection.hasExtension(xcb_res_id)) return;
    std::vector<std::uint32_t> clients;
    for (const xcb_window_t each : windows)
        clients.push_back(clientOf(connection, each));
    std::ranges::sort(clients);
    const auto repeated = std::ranges::unique(clients);
    clients.erase(repeated.begin(), repeated.end());
    std::vector<xcb_res_client_id_spec_t> specs;
    for (const std::uint32_t each : clients)
        specs.push_back({each, XCB_RES_CLIENT_ID_MASK_LOCAL_CLIENT_PID});
    cookie_ =
        xcb_res_query_client_ids(connection.get(), static_cast<std::uint32_t>(specs.size()), specs.data());
}

void ProcessQuery::collect() {
    if (!cookie_) return;
    const auto reply = connection_.tryAwait(xcb_res_query_client_ids_reply, *cookie_);
    if (!reply) return;
    for (auto each = xcb_res_query_client_ids_ids_iterator(reply.get()); each.rem > 0;
         xcb_res_client_id_value_next(&each)) {
        if (xcb_res_client_id_value_value_length(each.data) < 1) continue;
        const std::uint32_t process = *xcb_res_client_id_value_value(each.data);
        processes_[clientOf(connection_, each.data->spec.client)] = static_cast<std::int32_t>(process);
    }
}

std::optional<std::int32_t> ProcessQuery::processOf(xcb_window_t window) const {
    const auto found = processes_.find(clientOf(connection_, window));
    if (found == processes_.end() || found->second <= 0) return std::nullopt;
    return found->second;
}

/// The property holds two zero-terminated texts, instance and class. They should be Latin-1, but programs
/// write UTF-8; nearly all names are ASCII.
std::string classIn(std::string_view bytes) {
    const std::size_t zero = bytes.find('\0');
    const std::string text =
        zero == std::string_view::npos ? std::string() : textFromUtf8(bytes.substr(zero + 1));
    return text.empty() ? textFromUtf8(bytes) : text;
}

WindowOwnerQuery::WindowOwnerQuery(const Connection& connection, const WindowAtoms& atoms,
                                   xcb_window_t window)
    : processID_(connection, window, atoms.netWmPid), class_(connection, window, XCB_ATOM_WM_CLASS) {}

std::optional<SCRunningApplication> WindowOwnerQuery::collect(std::optional<std::int32_t> process) const {
    const std::optional<std::int32_t> claimed = processIn(processID_.collect());
    const Property named = class_.collect();
    if (!process) process = claimed;
    std::string name = classIn(named.bytes().value_or(std::string_view()));
    if (name.empty() && process) name = programName(*process);
    if (!process && name.empty()) return std::nullopt;
    return SCRunningApplication{process.value_or(0), std::move(name)};
}

}  // namespace lumicrate::x11
