// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/X11/Screens/Displays.h"

#include "Linux/X11/Screens/DesktopScale.h"
#include "Support/Text.h"

#include <xcb/randr.h>

#include <algorithm>

namespace lumicrate::x11 {

namespace {

/// Monitors were added in RandR 1.5.
bool supportsMonitors(const Connection& connection) {
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
    if (!supportsMonitors(connection)) return {wholeRoot(connection)};
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
    const auto found = std::ranges::find(monitors, id, &Monitor::id);
    return found == monitors.end() ? std::nullopt : std::optional(*found);
}

LayoutWatch::LayoutWatch(const Connection& connection) : root_(connection.root()) {
    // Monitors set by clients (xrandr --setmonitor) change no output. Like a resized screen, the server
    // announces them by an event of the root window.
    connection.selectRootEvents(XCB_EVENT_MASK_STRUCTURE_NOTIFY);
    if (!connection.hasExtension(xcb_randr_id)) return;
    connection.await(xcb_randr_query_version_reply, xcb_randr_query_version(connection.get(), 1, 5));
    firstEvent_ = connection.extension(xcb_randr_id, "RANDR").first_event;
    xcb_randr_select_input(connection.get(), root_,
                           XCB_RANDR_NOTIFY_MASK_SCREEN_CHANGE | XCB_RANDR_NOTIFY_MASK_CRTC_CHANGE |
                               XCB_RANDR_NOTIFY_MASK_OUTPUT_CHANGE);
}

bool LayoutWatch::handleEvent(const xcb_generic_event_t& event) const {
    const int type = eventType(event);
    if (type == XCB_CONFIGURE_NOTIFY) {
        return eventAs<xcb_configure_notify_event_t>(event).window == root_;
    }
    if (firstEvent_ == 0) return false;
    return type == firstEvent_ + XCB_RANDR_SCREEN_CHANGE_NOTIFY || type == firstEvent_ + XCB_RANDR_NOTIFY;
}

Displays::Displays(const std::string& displayName, double scale) : connection_(displayName), scale_(scale) {}

std::vector<SCDisplay> Displays::displays() const {
    std::vector<SCDisplay> displays;
    for (const Monitor& monitor : readMonitors(connection_))
        displays.push_back({monitor.id, pointsFromPixels(monitor.frame, scale_), scale_, monitor.name});
    return displays;
}

std::uint32_t Displays::mainDisplayID() const {
    const std::vector<Monitor> monitors = readMonitors(connection_);
    const auto primary = std::ranges::find_if(monitors, &Monitor::isPrimary);
    return primary == monitors.end() ? monitors.front().id : primary->id;
}

Rect Displays::bounds(std::uint32_t displayID) const {
    const auto monitor = findMonitor(connection_, displayID);
    return monitor ? pointsFromPixels(monitor->frame, scale_) : Rect{};
}

}  // namespace lumicrate::x11
