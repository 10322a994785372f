// SPDX-License-Identifier: GPL-3.0-or-later
// lumicrate-screencast: casts a virtual screen through the PipeWire server until SIGINT or SIGTERM.
#include "Tests/Linux/PipeWire/VirtualScreen.h"
#include "Tests/Stage/Scene/FrameNumber.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <exception>
#include <stdexcept>
#include <string>

namespace lumicrate::stage {

namespace {

constexpr const char* usage =
    "lumicrate-screencast WIDTHxHEIGHT FPS [--cursor]\n"
    "Casts soft colours with a number in the top-left corner, which counts the pictures sent; only the "
    "number\n"
    "changes. Writes \"node N\", and at the end \"sent N\". SIGINT or SIGTERM ends it.\n"
    "  --cursor   a white square of 8 pixels moves along the lower edge, one pixel with each picture";

int play(PixelSize size, int rate, bool hasCursor) {
    sigset_t signals;
    sigemptyset(&signals);
    for (const int number : {SIGINT, SIGTERM})
        sigaddset(&signals, number);
    sigprocmask(SIG_BLOCK, &signals, nullptr);
    VirtualScreen screen({.name = "lumicrate-screencast", .size = size});
    std::printf("node %u\n", screen.node());
    std::fflush(stdout);

    pictures::BgraPicture picture(size.width, size.height);
    for (int y = 0; y < size.height; ++y)
        for (int x = 0; x < size.width; ++x)
            picture.row(y)[x] = static_cast<std::uint32_t>((x / 8 & 0xff) << 16 | (y / 8 & 0xff) << 8 | 0x80);
    Image bar(FrameNumber::barWidth, FrameNumber::blockSize);
    const timespec interval{0, 1'000'000'000L / rate};
    int sent = 0;
    while (sigtimedwait(&signals, nullptr, &interval) < 0) {
        FrameNumber::draw(bar, sent);
        for (int y = 0; y < bar.height(); ++y)
            std::copy_n(bar.row(y), bar.width(), picture.row(y));
        VirtualScreen::Facts facts;
        // Who begins to watch needs the whole picture, and ignores the damage.
        facts.damage = {{0, 0, bar.width(), bar.height()}};
        if (hasCursor)
            facts.cursor = {.x = sent % size.width,
                            .y = size.height - 8,
                            .size = {8, 8},
                            .bitmap = std::vector<std::uint32_t>(64, ~0U)};
        if (screen.offer(picture, facts)) ++sent;
    }
    std::printf("sent %d\n", sent);
    return 0;
}

}  // namespace

}  // namespace lumicrate::stage

int main(int argc, char** argv) try {
    using namespace lumicrate::stage;
    lumicrate::PixelSize size;
    const int rate = argc > 2 ? std::atoi(argv[2]) : 0;
    const bool hasCursor = argc == 4 && std::string(argv[3]) == "--cursor";
    if (rate < 2 || (argc != 3 && !hasCursor) ||
        std::sscanf(argv[1], "%dx%d", &size.width, &size.height) != 2 || size.width < FrameNumber::barWidth ||
        size.height < FrameNumber::blockSize)
        throw std::runtime_error(usage);
    return play(size, rate, hasCursor);
} catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 2;
}
