// SPDX-License-Identifier: GPL-3.0-or-later
// lumicrate-stage: runs a command on a private desktop and exits with its status.
#include "Tests/Stage/PrivateDesktop.h"

#include <csignal>
#include <cstdio>
#include <exception>
#include <string>
#include <vector>

namespace lumicrate::stage {

namespace {

constexpr const char* usage =
    "lumicrate-stage [--size WxH] [--no-sound] -- COMMAND ARGUMENTS…\n"
    "Runs a command on a private desktop, which ends with the command.\n";

struct Request {
    PrivateDesktop::Options desktop;
    std::vector<std::string> command;
};

/// No command when the options are not understood.
Request parse(const std::vector<std::string>& arguments) {
    Request request;
    auto& display = request.desktop.display;
    for (auto argument = arguments.begin(); argument != arguments.end(); ++argument) {
        if (*argument == "--no-sound") {
            request.desktop.sound = false;
        } else if (*argument == "--size" && argument + 1 != arguments.end()) {
            if (std::sscanf((++argument)->c_str(), "%dx%d", &display.width, &display.height) != 2) break;
        } else {
            if (*argument == "--") request.command.assign(argument + 1, arguments.end());
            break;
        }
    }
    return request;
}

int run(const Request& request) {
    // Blocked before the desktop starts, so that a signal meanwhile is not lost and leaves nothing behind.
    sigset_t signals;
    sigemptyset(&signals);
    for (const int number : {SIGCHLD, SIGINT, SIGTERM, SIGHUP, SIGUSR1, SIGUSR2})
        sigaddset(&signals, number);
    sigprocmask(SIG_BLOCK, &signals, nullptr);
    PrivateDesktop desktop(request.desktop);

    ChildProcess command(request.command, {}, ChildProcess::Kind::Foreground);
    for (;;) {
        siginfo_t info{};
        const int number = sigwaitinfo(&signals, &info);
        if (const auto ended = command.wait(0)) return ended->exitStatus;
        // A terminal sends Ctrl-C (SI_KERNEL) to the command as well.
        if (number > 0 && number != SIGCHLD && info.si_code != SI_KERNEL) command.signal(number);
    }
}

}  // namespace

}  // namespace lumicrate::stage

int main(int argc, char** argv) {
    const auto request = lumicrate::stage::parse({argv + 1, argv + argc});
    if (request.command.empty()) {
        std::fputs(lumicrate::stage::usage, stderr);
        return 2;
    }
    try {
        return lumicrate::stage::run(request);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "lumicrate-stage: %s\n", error.what());
        return 1;
    }
}
