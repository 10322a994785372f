// SPDX-License-Identifier: GPL-3.0-or-later
// lumicrate-stage: runs a command on a private desktop and exits with its status.
#include "Tests/Stage/PrivateDesktop.h"

#include <csignal>
#include <cstdio>
#include <exception>

namespace lumicrate::stage {

namespace {

int run(const PrivateDesktop::Options& options, const std::vector<std::string>& words) {
    // Blocked before the desktop starts, so that a signal meanwhile is not lost and leaves nothing behind.
    sigset_t signals;
    sigemptyset(&signals);
    for (const int number : {SIGCHLD, SIGINT, SIGTERM, SIGHUP, SIGUSR1, SIGUSR2})
        sigaddset(&signals, number);
    sigprocmask(SIG_BLOCK, &signals, nullptr);
    PrivateDesktop desktop(options);

    ChildProcess command(words, {}, ChildProcess::Kind::Foreground);
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

int main(int argc, char** argv) try {
    lumicrate::stage::PrivateDesktop::Options options;
    auto& display = options.display;
    if (argc < 3 || std::sscanf(argv[1], "%dx%d", &display.width, &display.height) != 2) {
        std::fputs("lumicrate-stage WIDTHxHEIGHT COMMAND ARGUMENTS…\n", stderr);
        return 2;
    }
    return lumicrate::stage::run(options, {argv + 2, argv + argc});
} catch (const std::exception& error) {
    std::fprintf(stderr, "lumicrate-stage: %s\n", error.what());
    return 1;
}
