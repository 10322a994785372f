// SPDX-License-Identifier: GPL-3.0-or-later
#include "Tests/Stage/Wayland/DesktopPortal.h"

#include "Tests/Stage/Await.h"

#include <csignal>
#include <stdexcept>
#include <utility>

namespace lumicrate::stage {

namespace {

constexpr const char* frontendProgram = "/usr/libexec/xdg-desktop-portal";
constexpr const char* backendProgram = "/usr/libexec/xdg-desktop-portal-wlr";

/// Asks the bus and not the service, which a question would start without its environment.
bool isOnBus(const std::string& service) {
    const auto answer =
        runToEnd({"dbus-send", "--session", "--print-reply=literal", "--dest=org.freedesktop.DBus", "/",
                  "org.freedesktop.DBus.NameHasOwner", "string:" + service});
    return answer.output.find("true") != std::string::npos;
}

std::unique_ptr<ChildProcess> start(const std::string& program, const Environment& environment,
                                    const std::string& service) {
    auto process = std::make_unique<ChildProcess>(std::vector{program}, environment);
    const bool isUp = eventually([&] { return !process->isRunning() || isOnBus(service); });
    if (!isUp || !process->isRunning())
        throw std::runtime_error(program + " did not start: " + process->standardError());
    return process;
}

}  // namespace

bool DesktopPortal::isInstalled() {
    return std::filesystem::exists(frontendProgram) && std::filesystem::exists(backendProgram);
}

DesktopPortal::DesktopPortal(std::shared_ptr<const Session> session, const std::string& outputName)
    : session_(std::move(session)) {
    choose(outputName);
    const auto configuration = session_->home() / ".config";
    test::writeText(configuration / "xdg-desktop-portal-wlr/config",
                    "[screencast]\nchooser_type=simple\nchooser_cmd=cat " + choice_.string() + "\n");
    // Older releases choose by $XDG_CURRENT_DESKTOP.
    test::writeText(configuration / "xdg-desktop-portal/portals.conf", "[preferred]\ndefault=wlr\n");
    backend_ = start(backendProgram, {{"LD_PRELOAD", LUMICRATE_OFFER_DMA_BUF}},
                     "org.freedesktop.impl.portal.desktop.wlr");
    frontend_ = start(frontendProgram, {}, "org.freedesktop.portal.Desktop");
}

void DesktopPortal::choose(const std::optional<std::string>& outputName) {
    test::writeText(choice_, outputName.value_or("") + "\n");
}

void DesktopPortal::kill() {
    for (auto* process : {frontend_.get(), backend_.get()}) {
        process->signal(SIGKILL);
        process->mustEnd(30);
    }
}

}  // namespace lumicrate::stage
