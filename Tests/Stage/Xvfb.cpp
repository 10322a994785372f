// SPDX-License-Identifier: GPL-3.0-or-later
#include "Tests/Stage/Xvfb.h"

#include "Tests/Stage/Await.h"
#include "Tests/Stage/Xcb.h"

#include <xcb/xcb.h>

#include <algorithm>
#include <csignal>
#include <cstdint>
#include <stdexcept>

namespace lumicrate::stage {

namespace {

// -displayfd 1: the number of the free display comes on standard output.
// -noreset: the server must not restart when the last client leaves.
std::vector<std::string> serverCommand(const Xvfb::Options& options) {
    const std::string screen = std::to_string(options.width) + "x" + std::to_string(options.height) + "x24";
    return {"Xvfb",   "-displayfd", "1",     "-screen",    "0",          screen,      "-nolisten",
            "tcp",    "-noreset",   "-dpi",  "96",         "+extension", "Composite", "+extension",
            "DAMAGE", "+extension", "RANDR", "+extension", "XFIXES"};
}

}  // namespace

Xvfb::Xvfb(const Options& options) : options_(options), server_(serverCommand(options)) {
    if (options.windowManager) startWindowManager();
    if (options.compositor) startCompositor();
}

std::unique_ptr<ChildProcess> Xvfb::startClient(std::vector<std::string> arguments,
                                                const std::function<bool()>& isUp) const {
    const std::string name = arguments.at(0);
    auto client = std::make_unique<ChildProcess>(
        std::move(arguments), Environment{{"DISPLAY", displayName_}, {"XAUTHORITY", std::nullopt}});
    if (!eventually(isUp)) throw std::runtime_error(name + " did not start: " + client->standardError());
    return client;
}

void Xvfb::startWindowManager() {
    // Connected first: the window manager grabs the server while it starts.
    const XcbConnection connection(displayName_);
    const auto list = internAtom(connection.get(), "_NET_CLIENT_LIST");
    const xcb_window_t probe = xcb_generate_id(connection.get());
    xcb_create_window(connection.get(), XCB_COPY_FROM_PARENT, probe, connection.screen()->root, 0, 0, 9, 9, 0,
                      XCB_WINDOW_CLASS_INPUT_OUTPUT, XCB_COPY_FROM_PARENT, 0, nullptr);
    const auto isListed = [&] {
        constexpr std::uint32_t maxWindows = 1000;
        const XcbReply<xcb_get_property_reply_t> reply(
            xcb_get_property_reply(connection.get(),
                                   xcb_get_property(connection.get(), 0, connection.screen()->root, list,
                                                    XCB_ATOM_WINDOW, 0, maxWindows),
                                   nullptr));
        if (!reply) return false;
        const auto* const windows = static_cast<const xcb_window_t*>(xcb_get_property_value(reply.get()));
        const auto* const end = windows + xcb_get_property_value_length(reply.get()) / 4;
        return std::find(windows, end, probe) != end;
    };
    // openbox announces itself before it manages windows, and ignores those that are mapped meanwhile. So map
    // a window again and again until it is managed.
    windowManager_ = startClient({"openbox", "--sm-disable"}, [&] {
        if (isListed()) return true;
        xcb_map_window(connection.get(), probe);
        return false;
    });
    xcb_destroy_window(connection.get(), probe);
    if (!eventually([&] { return !isListed(); })) throw std::runtime_error("openbox keeps its first window");
}

void Xvfb::startCompositor() {
    const XcbConnection connection(displayName_);
    const auto selection = internAtom(connection.get(), "_NET_WM_CM_S0");
    compositor_ = startClient({"picom", "--backend", "xrender", "--config", "/dev/null"}, [&] {
        const XcbReply<xcb_get_selection_owner_reply_t> reply(xcb_get_selection_owner_reply(
            connection.get(), xcb_get_selection_owner(connection.get(), selection), nullptr));
        return reply && reply->owner != XCB_NONE;
    });
}

void Xvfb::kill() {
    server_.signal(SIGKILL);
    server_.mustEnd(30);
}

}  // namespace lumicrate::stage
