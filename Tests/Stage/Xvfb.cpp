#include "Tests/Stage/Xvfb.h"

#include "Tests/Stage/Xcb.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>
#include <xcb/xcb.h>

#include <algorithm>
#include <cctype>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <stdexcept>

namespace lumicrate::stage {

namespace {

constexpr double startSeconds = 30;
// Between two looks at whether a helper has taken charge; there is no one event that all of them would send.
constexpr double lookInterval = 0.02;

std::string readDisplayNumber(int fd) {
    std::string text;
    pollfd watched{fd, POLLIN, 0};
    while (text.find('\n') == std::string::npos) {
        if (poll(&watched, 1, static_cast<int>(startSeconds * 1000)) <= 0) return {};
        char buffer[16];
        const ssize_t got = read(fd, buffer, sizeof buffer);
        if (got <= 0) return {};
        text.append(buffer, static_cast<std::size_t>(got));
    }
    return text.substr(0, text.find('\n'));
}

}  // namespace

Xvfb::Xvfb(const Options& options) : options_(options) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) throw std::runtime_error("No pipe for the display number");
    const Descriptor numberEnd(ends[0]);
    Descriptor serverEnd(ends[1]);

    ChildProcess::Options server;
    server.output = ChildProcess::Output::Capture;
    server.keptDescriptor = serverEnd.get();
    server.signalOnParentDeath = SIGTERM;  // lets it remove its socket
    const std::string screen = std::to_string(options.width) + "x" + std::to_string(options.height) + "x24";
    // -noreset: the server must not start afresh whenever the last client leaves.
    server_ = std::make_unique<ChildProcess>(
        std::vector<std::string>{"Xvfb", "-displayfd", std::to_string(serverEnd.get()), "-screen", "0",
                                 screen, "-nolisten", "tcp", "-noreset", "-dpi", "96", "+extension",
                                 "Composite", "+extension", "DAMAGE", "+extension", "RANDR", "+extension",
                                 "XFIXES"},
        server);
    serverEnd.close();

    const std::string number = readDisplayNumber(numberEnd.get());
    if (number.empty()) throw std::runtime_error("The X server did not start: " + server_->standardError());
    displayName_ = ":" + number;
    if (options.windowManager) startWindowManager();
    if (options.compositor) startCompositor();
}

std::unique_ptr<ChildProcess> Xvfb::startClient(std::vector<std::string> arguments) const {
    ChildProcess::Options client;
    client.output = ChildProcess::Output::Capture;
    client.environment = {{"DISPLAY", displayName_}, {"XAUTHORITY", std::nullopt}};
    return std::make_unique<ChildProcess>(std::move(arguments), client);
}

void Xvfb::awaitClient(ChildProcess& client, const std::string& name,
                       const std::function<bool()>& isUp) const {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::duration<double>(startSeconds);
    while (!isUp()) {
        if (client.wait(lookInterval) || std::chrono::steady_clock::now() > deadline) {
            throw std::runtime_error(name + " did not start: " + client.standardError());
        }
    }
}

void Xvfb::startWindowManager() {
    // Connected before the helper starts: this client's own first request must not be what the helper waits
    // behind.
    const XcbConnection connection(displayName_);
    const auto list = internAtom(connection.get(), "_NET_CLIENT_LIST");
    const xcb_window_t probe = xcb_generate_id(connection.get());
    xcb_create_window(connection.get(), XCB_COPY_FROM_PARENT, probe, connection.screen()->root, 0, 0, 9, 9, 0,
                      XCB_WINDOW_CLASS_INPUT_OUTPUT, XCB_COPY_FROM_PARENT, 0, nullptr);
    const auto isListed = [&] {
        constexpr std::uint32_t most = 1000;
        const XcbReply<xcb_get_property_reply_t> reply(xcb_get_property_reply(
            connection.get(),
            xcb_get_property(connection.get(), 0, connection.screen()->root, list, XCB_ATOM_WINDOW, 0, most),
            nullptr));
        if (!reply) return false;
        const auto* const windows = static_cast<const xcb_window_t*>(xcb_get_property_value(reply.get()));
        const auto* const end = windows + xcb_get_property_value_length(reply.get()) / 4;
        return std::find(windows, end, probe) != end;
    };
    windowManager_ = startClient({"openbox", "--sm-disable"});
    // It gives signs of life before it takes windows, and forgets what is mapped meanwhile: it is up when it
    // has taken one, asked for again and again.
    awaitClient(*windowManager_, "openbox", [&] {
        if (isListed()) return true;
        xcb_map_window(connection.get(), probe);
        return false;
    });
    xcb_destroy_window(connection.get(), probe);
    awaitClient(*windowManager_, "openbox", [&] { return !isListed(); });
}

void Xvfb::startCompositor() {
    const XcbConnection connection(displayName_);
    const auto selection = internAtom(connection.get(), "_NET_WM_CM_S0");
    compositor_ = startClient({"picom", "--backend", "xrender", "--config", "/dev/null"});
    awaitClient(*compositor_, "picom", [&] {
        const XcbReply<xcb_get_selection_owner_reply_t> reply(xcb_get_selection_owner_reply(
            connection.get(), xcb_get_selection_owner(connection.get(), selection), nullptr));
        return reply && reply->owner != XCB_NONE;
    });
}

void Xvfb::stopCompositor() {
    compositor_.reset();
}

void Xvfb::kill() {
    server_->signal(SIGKILL);
    server_->mustEnd(startSeconds);
}

}  // namespace lumicrate::stage
