// SPDX-License-Identifier: GPL-3.0-or-later
#include "Tests/Stage/Wayland/Sway.h"

#include "Tests/Stage/Await.h"
#include "Tests/Stage/Xcb.h"

#include <fstream>
#include <sstream>
#include <stdexcept>
#include <utility>

namespace lumicrate::stage {

namespace {

std::string nameOf(std::size_t index) {
    return "HEADLESS-" + std::to_string(index + 1);
}

std::string text(double number) {
    std::ostringstream stream;
    stream << number;
    return stream.str();
}

std::vector<std::string> configuration(const std::string& name, const Sway::Output& output) {
    return {"output",     name,
            "resolution", std::to_string(output.width) + "x" + std::to_string(output.height),
            "scale",      text(output.scale)};
}

std::filesystem::path writeConfiguration(const Session& session, const Sway::Options& options) {
    std::ostringstream lines;
    lines << "xwayland " << (options.xwayland ? "force" : "disable") << "\n"
          << "default_border none\ndefault_floating_border none\nseat * hide_cursor 0\n";
    for (std::size_t i = 0; i < options.outputs.size(); ++i) {
        for (const auto& word : configuration(nameOf(i), options.outputs[i]))
            lines << word << " ";
        lines << "\n";
    }
    // Carried out when everything else is set up; its output is that of the compositor.
    lines << "exec echo \"$WAYLAND_DISPLAY $SWAYSOCK $DISPLAY\"\n";
    return test::writeText(session.runtimeFolder() / "sway.conf", lines.str());
}

std::filesystem::path unplugOrder(const Session& session) {
    return session.runtimeFolder() / "unplug-output";
}

Environment serverEnvironment(const Session& session, const Sway::Options& options) {
    return {{"LD_PRELOAD", LUMICRATE_HEADLESS_SWAY},
            {"LUMICRATE_UNPLUG_ORDER", unplugOrder(session).string()},
            {"WLR_BACKENDS", "headless"},
            {"WLR_RENDERER", "pixman"},
            {"WLR_LIBINPUT_NO_DEVICES", "1"},
            {"WLR_HEADLESS_OUTPUTS", std::to_string(options.outputs.size())},
            {"DISPLAY", std::nullopt},
            {"XAUTHORITY", std::nullopt},
            {"XDG_CURRENT_DESKTOP", "sway"},
            {"XDG_SESSION_TYPE", "wayland"}};
}

/// Waits until the compositor manages the windows of Xwayland. Before that, Xwayland ends with the last of
/// its clients and is started again, and nothing ends it when the compositor ends meanwhile.
void awaitXwayland(const std::string& displayName) {
    const XcbConnection connection(displayName);
    const auto selection = internAtom(connection.get(), "WM_S0");
    const bool isManaged = eventually([&] {
        const XcbReply<xcb_get_selection_owner_reply_t> reply(xcb_get_selection_owner_reply(
            connection.get(), xcb_get_selection_owner(connection.get(), selection), nullptr));
        return reply && reply->owner != XCB_NONE;
    });
    if (!isManaged) throw std::runtime_error("sway does not manage X windows");
}

}  // namespace

bool Sway::isInstalled() {
    return runToEnd({"sh", "-c", "command -v sway swaymsg"}).status == 0;
}

Sway::Sway(std::shared_ptr<const Session> session, const Options& options)
    : session_(std::move(session)),
      outputCount_(options.outputs.size()),
      // Screen casts would miss what a full-screen client hands directly to an output without a screen.
      server_({"sway", "-Dnoscanout", "--config", writeConfiguration(*session_, options).string()},
              serverEnvironment(*session_, options)) {
    std::istringstream(server_.readLine()) >> displayName_ >> socket_ >> xDisplayName_;
    if (options.xwayland) awaitXwayland(xDisplayName_);
}

Environment Sway::environment() const {
    return {{"WAYLAND_DISPLAY", displayName_},
            {"SWAYSOCK", socket_},
            {"DISPLAY", xDisplayName_.empty() ? std::nullopt : std::optional(xDisplayName_)},
            {"XAUTHORITY", std::nullopt},
            {"XDG_CURRENT_DESKTOP", "sway"},
            {"XDG_SESSION_TYPE", "wayland"}};
}

VirtualInput& Sway::input() {
    if (!input_) input_ = makeWlrootsInput(displayName_);
    return *input_;
}

void Sway::command(std::vector<std::string> words) const {
    words.insert(words.begin(), {"swaymsg", "--socket", socket_, "--"});
    runProgram(std::move(words));
}

void Sway::configure(const std::string& outputName, const Output& output) const {
    command(configuration(outputName, output));
}

std::string Sway::addOutput(const Output& output) {
    const std::string name = nameOf(outputCount_++);
    // Configured before it exists, so that clients see it once only.
    configure(name, output);
    command({"create_output"});
    return name;
}

void Sway::removeLastOutput() const {
    test::writeText(unplugOrder(*session_), "");
    command({"create_output"});
}

void Sway::end(int signal) {
    if (!server_.isRunning()) return;
    // Alone: while it ends, it would replace an Xwayland that ends before it, and leave that one behind.
    ::kill(server_.processId(), signal);
    server_.wait(5);
    // Also what it has forked to start Xwayland, which waits for Xwayland forever when it has ended
    // meanwhile.
    ::kill(-server_.processId(), SIGKILL);
    server_.wait(30);
}

}  // namespace lumicrate::stage
