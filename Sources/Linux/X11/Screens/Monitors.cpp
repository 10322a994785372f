#include "Linux/X11/Screens/Monitors.h"

#include "Support/Text.h"

#include <xcb/randr.h>

#include <algorithm>

namespace lumicrate::x11 {

namespace {

/// Monitors came with RandR 1.5.
bool knowsMonitors(const Connection& connection) {
    if (!connection.hasExtension(xcb_randr_id)) return false;
    const auto version =
        connection.tryAwait(xcb_randr_query_version_reply, xcb_randr_query_version(connection.get(), 1, 5));
    return version && (version->major_version > 1 || version->minor_version >= 5);
}

std::string nameOf(const Connection& connection, xcb_get_atom_name_cookie_t cookie) {
    const auto reply = connection.tryAwait(xcb_get_atom_name_reply, cookie);
    if (!reply) return {};
    return {xcb_get_atom_name_name(reply.get()),
            static_cast<std::size_t>(xcb_get_atom_name_name_length(reply.get()))};
}

Monitor wholeRoot(const Connection& connection) {
    return {1, localized("Screen"), rootExtent(connection), true};
}

}  // namespace

PixelRect rootExtent(const Connection& connection) {
    const auto geometry =
        connection.await(xcb_get_geometry_reply, xcb_get_geometry(connection.get(), connection.root()));
    return {0, 0, geometry->width, geometry->height};
}

std::vector<Monitor> readMonitors(const Connection& connection) {
    if (!knowsMonitors(connection)) return {wholeRoot(connection)};
    const auto reply = connection.await(xcb_randr_get_monitors_reply,
                                        xcb_randr_get_monitors(connection.get(), connection.root(), 1));

    std::vector<Monitor> monitors;
    std::vector<xcb_get_atom_name_cookie_t> names;
    for (auto each = xcb_randr_get_monitors_monitors_iterator(reply.get()); each.rem > 0;
         xcb_randr_monitor_info_next(&each)) {
        const xcb_randr_monitor_info_t& info = *each.data;
        if (info.width == 0 || info.height == 0) continue;
        monitors.push_back({info.name, {}, {info.x, info.y, info.width, info.height}, info.primary != 0});
        names.push_back(xcb_get_atom_name(connection.get(), info.name));
    }
    for (std::size_t i = 0; i < monitors.size(); ++i)
        monitors[i].name = nameOf(connection, names[i]);
    if (monitors.empty()) return {wholeRoot(connection)};
    return monitors;
}

std::optional<Monitor> findMonitor(const Connection& connection, std::uint32_t id) {
    const std::vector<Monitor> monitors = readMonitors(connection);
    const auto found =
        std::find_if(monitors.begin(), monitors.end(), [&](const Monitor& each) { return each.id == id; });
    if (found == monitors.end()) return std::nullopt;
    return *found;
}

}  // namespace lumicrate::x11
