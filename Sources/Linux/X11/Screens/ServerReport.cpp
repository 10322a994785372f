// SPDX-License-Identifier: GPL-3.0-or-later
// logServer(), for bug reports.
#include "Linux/X11/Screens/CompositorWatch.h"
#include "Linux/X11/Screens/Displays.h"
#include "Support/Log.h"

#include <xcb/composite.h>
#include <xcb/damage.h>
#include <xcb/randr.h>
#include <xcb/render.h>
#include <xcb/res.h>
#include <xcb/shape.h>
#include <xcb/shm.h>
#include <xcb/xfixes.h>
#include <xcb/xinput.h>

#include <string>

namespace lumicrate::x11 {

namespace {

/// `query` sends the extension's version query and returns the reply.
template <class Query>
void logExtension(const Connection& connection, xcb_extension_t& id, const char* name, Query query) {
    if (!connection.hasExtension(id)) {
        log(LogArea::capture, "extension ", name, " is missing");
    } else if (const auto reply = query()) {
        log(LogArea::capture, "extension ", name, " ", reply->major_version, ".", reply->minor_version);
    }
}

void logExtensions(const Connection& connection) {
    xcb_connection_t* const xcb = connection.get();
    const auto reply = [&](auto collect, auto cookie) { return connection.tryAwait(collect, cookie); };
    logExtension(connection, xcb_shm_id, "MIT-SHM",
                 [&] { return reply(xcb_shm_query_version_reply, xcb_shm_query_version(xcb)); });
    logExtension(connection, xcb_damage_id, "DAMAGE",
                 [&] { return reply(xcb_damage_query_version_reply, xcb_damage_query_version(xcb, 1, 1)); });
    logExtension(connection, xcb_xfixes_id, "XFIXES",
                 [&] { return reply(xcb_xfixes_query_version_reply, xcb_xfixes_query_version(xcb, 4, 0)); });
    logExtension(connection, xcb_composite_id, "Composite", [&] {
        return reply(xcb_composite_query_version_reply, xcb_composite_query_version(xcb, 0, 4));
    });
    logExtension(connection, xcb_render_id, "RENDER",
                 [&] { return reply(xcb_render_query_version_reply, xcb_render_query_version(xcb, 0, 11)); });
    logExtension(connection, xcb_randr_id, "RANDR",
                 [&] { return reply(xcb_randr_query_version_reply, xcb_randr_query_version(xcb, 1, 5)); });
    logExtension(connection, xcb_shape_id, "SHAPE",
                 [&] { return reply(xcb_shape_query_version_reply, xcb_shape_query_version(xcb)); });
    logExtension(connection, xcb_input_id, "XInputExtension", [&] {
        return reply(xcb_input_xi_query_version_reply, xcb_input_xi_query_version(xcb, 2, 2));
    });
    log(LogArea::capture, "extension X-Resource", connection.hasExtension(xcb_res_id) ? "" : " is missing");
}

void logRefreshRates(const Connection& connection) {
    if (!connection.hasExtension(xcb_randr_id)) return;
    const auto resources =
        connection.tryAwait(xcb_randr_get_screen_resources_current_reply,
                            xcb_randr_get_screen_resources_current(connection.get(), connection.root()));
    if (!resources) return;
    const xcb_randr_crtc_t* const crtcs = xcb_randr_get_screen_resources_current_crtcs(resources.get());
    for (int i = 0; i < xcb_randr_get_screen_resources_current_crtcs_length(resources.get()); ++i) {
        const auto crtc = connection.tryAwait(
            xcb_randr_get_crtc_info_reply,
            xcb_randr_get_crtc_info(connection.get(), crtcs[i], resources->config_timestamp));
        for (auto mode = xcb_randr_get_screen_resources_current_modes_iterator(resources.get());
             crtc && mode.rem > 0; xcb_randr_mode_info_next(&mode)) {
            const double total = double(mode.data->htotal) * mode.data->vtotal;
            if (mode.data->id == crtc->mode && total > 0)
                log(LogArea::capture, "output at ", crtc->x, ", ", crtc->y, ": ",
                    mode.data->dot_clock / total, " Hz");
        }
    }
}

}  // namespace

void logServer(const Connection& connection, double scale) {
    if (!isLogged(LogArea::capture)) return;
    const xcb_setup_t* const setup = xcb_get_setup(connection.get());
    log(LogArea::capture, "X server: ",
        std::string(xcb_setup_vendor(setup), static_cast<std::size_t>(xcb_setup_vendor_length(setup))),
        ", release ", setup->release_number);
    logExtensions(connection);
    if (connection.hasExtension(xcb_xfixes_id))
        log(LogArea::capture, "compositing manager: ", CompositorWatch(connection).active());
    log(LogArea::capture, "scale ", scale, " pixels per point");
    for (const Monitor& each : readMonitors(connection)) {
        log(LogArea::capture, "monitor ", each.name, each.isPrimary ? " (primary): " : ": ", each.frame.width,
            " × ", each.frame.height, " pixels at ", each.frame.x, ", ", each.frame.y);
    }
    logRefreshRates(connection);
}

}  // namespace lumicrate::x11
