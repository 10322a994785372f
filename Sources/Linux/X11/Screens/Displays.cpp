// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/X11/Screens/Displays.h"

#include "Linux/X11/Screens/DesktopScale.h"
#include "Linux/X11/Screens/Edid.h"
#include "Support/DisplayNames.h"
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
    return {1, localized("Screen"), rootExtent(connection), true, 0};
}

/// What is known of each monitor's name.
std::vector<NamedDisplay> readNames(const Connection& connection, const std::vector<Monitor>& monitors) {
    constexpr std::uint32_t maxWords = 1024;
    const bool any = std::ranges::any_of(monitors, [](const Monitor& each) { return each.output != 0; });
    const xcb_atom_t property = any ? connection.internAtom("EDID") : xcb_atom_t{XCB_NONE};
    std::vector<xcb_randr_get_output_property_cookie_t> cookies(monitors.size());
    for (std::size_t i = 0; i < monitors.size(); ++i) {
        if (monitors[i].output == 0) continue;
        cookies[i] = xcb_randr_get_output_property(connection.get(), monitors[i].output, property,
                                                   XCB_GET_PROPERTY_TYPE_ANY, 0, maxWords, 0, 0);
    }
    std::vector<NamedDisplay> displays;
    for (std::size_t i = 0; i < monitors.size(); ++i) {
        NamedDisplay& display = displays.emplace_back(NamedDisplay{monitors[i].name, {}});
        if (monitors[i].output == 0) continue;
        const auto reply = connection.tryAwait(xcb_randr_get_output_property_reply, cookies[i]);
        if (!reply || reply->format != 8) continue;
        const std::uint8_t* const bytes = xcb_randr_get_output_property_data(reply.get());
        const auto length = xcb_randr_get_output_property_data_length(reply.get());
        display.model = nameFromEdid({bytes, static_cast<std::size_t>(length)});
    }
    return displays;
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
        const bool hasOutput = info.automatic != 0 && xcb_randr_monitor_info_outputs_length(&info) > 0;
        monitors.push_back({info.name,
                            {},
                            {info.x, info.y, info.width, info.height},
                            info.primary != 0,
                            hasOutput ? *xcb_randr_monitor_info_outputs(&info) : 0});
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
    const std::vector<Monitor> monitors = readMonitors(connection_);
    const std::vector<std::string> names = displayNames(readNames(connection_, monitors));
    std::vector<SCDisplay> displays;
    for (std::size_t i = 0; i < monitors.size(); ++i) {
        const Monitor& monitor = monitors[i];
        displays.push_back(
            {monitor.id, pointsFromPixels(monitor.frame, scale_), scale_, names[i], monitor.name});
    }
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
