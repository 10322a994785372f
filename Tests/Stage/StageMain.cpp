// lumicrate-stage: runs a command on a private desktop and passes its exit status on.
#include "Tests/Stage/PrivateDesktop.h"

#include <poll.h>
#include <sys/prctl.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace lumicrate::stage {

namespace {

constexpr const char* usage =
    "lumicrate-stage [--size WxH] [--no-sound] [--picom] [--no-wm] -- COMMAND ARGUMENTS…\n"
    "Runs a command on a desktop of its own, which goes away with it.\n";

struct Request {
    PrivateDesktop::Options desktop;
    std::vector<std::string> command;
};

std::optional<Request> parse(const std::vector<std::string>& arguments) {
    Request request;
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        const auto& argument = arguments[i];
        if (argument == "--") {
            request.command.assign(arguments.begin() + static_cast<std::ptrdiff_t>(i) + 1, arguments.end());
            break;
        }
        if (argument == "--size" && i + 1 < arguments.size()) {
            auto& display = request.desktop.display;
            if (std::sscanf(arguments[++i].c_str(), "%dx%d", &display.width, &display.height) != 2) return {};
        } else if (argument == "--no-sound") {
            request.desktop.sound = false;
        } else if (argument == "--picom") {
            request.desktop.display.compositor = true;
        } else if (argument == "--no-wm") {
            request.desktop.display.windowManager = false;
        } else {
            return {};
        }
    }
    if (request.command.empty()) return {};
    return request;
}

sigset_t endSignals() {
    sigset_t signals;
    sigemptyset(&signals);
    for (const int number : {SIGINT, SIGTERM, SIGHUP, SIGUSR1, SIGUSR2}) {
        sigaddset(&signals, number);
    }
    return signals;
}

// Waits for the command's end and meanwhile hands on the signals that this program gets.
int attend(ChildProcess& command, int signals) {
    for (;;) {
        pollfd watched[2] = {{command.endDescriptor(), POLLIN, 0}, {signals, POLLIN, 0}};
        if (poll(watched, 2, -1) < 0) continue;
        if (watched[0].revents != 0) return command.mustEnd(0).exitStatus;
        signalfd_siginfo info{};
        if (read(signals, &info, sizeof info) != sizeof info) continue;
        // A terminal's Ctrl-C has reached the command already: it is in the same foreground group.
        if (info.ssi_code != SI_KERNEL) command.signal(static_cast<int>(info.ssi_signo));
    }
}

int run(const Request& request) {
    // Blocked before the desktop starts, so that a signal during its start is not lost and takes nothing half
    // down.
    const auto wanted = endSignals();
    sigprocmask(SIG_BLOCK, &wanted, nullptr);
    const Descriptor signals(signalfd(-1, &wanted, SFD_CLOEXEC));
    PrivateDesktop desktop(request.desktop);

    ChildProcess::Options options;
    options.ownGroup = false;  // the command may read from the terminal
    ChildProcess command(request.command, options);
    return attend(command, signals.get());
}

}  // namespace

}  // namespace lumicrate::stage

int main(int argc, char** argv) {
    const auto request = lumicrate::stage::parse({argv + 1, argv + argc});
    if (!request) {
        std::fputs(lumicrate::stage::usage, stderr);
        return 2;
    }
    try {
        return lumicrate::stage::run(*request);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "lumicrate-stage: %s\n", error.what());
        return 1;
    }
}
