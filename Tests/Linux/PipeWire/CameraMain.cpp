// SPDX-License-Identifier: GPL-3.0-or-later
// lumicrate-camera: plugs a virtual camera into the PipeWire server until SIGINT or SIGTERM.
#include "Tests/Linux/PipeWire/VirtualCamera.h"

#include <csignal>
#include <cstdio>
#include <exception>
#include <map>
#include <span>
#include <stdexcept>
#include <string>

namespace lumicrate::stage {

namespace {

constexpr const char* usage =
    "lumicrate-camera NAME [PIXELS WIDTHxHEIGHT FPS]… [OPTION…]\n"
    "Plugs in a camera with these formats; PIXELS is NV12, I420, YUY2, BGRx or MJPG. Writes \"ready\", and "
    "at\n"
    "the end \"sent N\", the number of frames. SIGINT or SIGTERM unplugs it.\n"
    "  --stop-after N        stalls after N frames, each time it is opened\n"
    "  --noisy               no two MJPG pictures are alike, as with a real camera's sensor\n"
    "  --other-size | --garbage | --halves | --nothing\n"
    "                        what it sends instead of good pictures";

VirtualCamera::Options parse(std::span<char*> words) {
    using enum VirtualCamera::Options::Fault;
    const std::map<std::string, VirtualCamera::Options::Fault> faults{
        {"--other-size", otherSize}, {"--garbage", garbage}, {"--halves", halves}, {"--nothing", nothing}};
    VirtualCamera::Options options;
    options.name = options.description = words[0];
    options.formats.clear();
    for (std::size_t i = 1; i < words.size(); ++i) {
        const std::string word = words[i];
        if (faults.contains(word)) {
            options.fault = faults.at(word);
        } else if (word == "--noisy") {
            options.isNoisy = true;
        } else if (word == "--stop-after" && i + 1 < words.size()) {
            options.stopAfter = std::stoi(words[++i]);
        } else if (i + 2 < words.size()) {
            VirtualCamera::Format format{word};
            if (std::sscanf(words[i + 1], "%dx%d", &format.width, &format.height) != 2)
                throw std::runtime_error(usage);
            format.rate = std::stoi(words[i + 2]);
            options.formats.push_back(format);
            i += 2;
        } else {
            throw std::runtime_error(usage);
        }
    }
    if (options.formats.empty()) options.formats.emplace_back();
    return options;
}

}  // namespace

}  // namespace lumicrate::stage

int main(int argc, char** argv) try {
    using namespace lumicrate::stage;
    if (argc < 2) throw std::runtime_error(usage);
    sigset_t signals;
    sigemptyset(&signals);
    for (const int number : {SIGINT, SIGTERM})
        sigaddset(&signals, number);
    sigprocmask(SIG_BLOCK, &signals, nullptr);
    const VirtualCamera camera(parse(std::span(argv, static_cast<std::size_t>(argc)).subspan(1)));
    std::puts("ready");
    std::fflush(stdout);
    int received = 0;
    sigwait(&signals, &received);
    std::printf("sent %d\n", camera.framesSent());
} catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 2;
}
