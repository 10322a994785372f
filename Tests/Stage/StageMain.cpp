// SPDX-License-Identifier: GPL-3.0-or-later
// lumicrate-stage: runs a command on a private desktop and exits with its status.
#include "Tests/Stage/PrivateDesktop.h"
#include "Tests/Stage/WaylandDesktop.h"

#include <csignal>
#include <cstdio>
#include <exception>

namespace lumicrate::stage {

namespace {

constexpr const char* usage =
    "lumicrate-stage [--wayland] WIDTHxHEIGHT[@SCALE] COMMAND ARGUMENTS…\n"
    "Runs a command on a private desktop: an X server with openbox, or with --wayland sway with Xwayland "
    "and\n"
    "the desktop portal. SCALE is that of the Wayland desktop.\n";

template <class Desktop>
int run(const typename Desktop::Options& options, const std::vector<std::string>& words) {
    // Blocked before the desktop starts, so that a signal meanwhile is not lost and leaves nothing behind.
    sigset_t signals;
    sigemptyset(&signals);
    for (const int number : {SIGCHLD, SIGINT, SIGTERM, SIGHUP, SIGUSR1, SIGUSR2})
        sigaddset(&signals, number);
    sigprocmask(SIG_BLOCK, &signals, nullptr);
    const Desktop desktop(options);

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
    using namespace lumicrate::stage;
    const std::vector<std::string> words(argv + 1, argv + argc);
    const bool isWayland = !words.empty() && words[0] == "--wayland";
    const std::size_t sizeIndex = isWayland ? 1 : 0;
    Sway::Output output;
    if (words.size() < sizeIndex + 2 || std::sscanf(words[sizeIndex].c_str(), "%dx%d@%lf", &output.width,
                                                    &output.height, &output.scale) < 2) {
        std::fputs(usage, stderr);
        return 2;
    }
    const std::vector<std::string> command(words.begin() + static_cast<std::ptrdiff_t>(sizeIndex) + 1,
                                           words.end());
    if (isWayland) return run<WaylandDesktop>({.compositor = {.outputs = {output}}}, command);
    PrivateDesktop::Options options;
    options.display.width = output.width;
    options.display.height = output.height;
    return run<PrivateDesktop>(options, command);
} catch (const std::exception& error) {
    std::fprintf(stderr, "lumicrate-stage: %s\n", error.what());
    return 1;
}
