// SPDX-License-Identifier: GPL-3.0-or-later
// A disk that is slow for a while, as the program sees it: preloaded, this makes every write take as long as
// LUMICRATE_SLOW_DISK says, "RATE SECONDS": so many bytes a second, from the first write on for so many
// seconds.

#include <dlfcn.h>
#include <sys/types.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <sstream>
#include <thread>

namespace {

using Clock = std::chrono::steady_clock;
using Seconds = std::chrono::duration<double>;

struct Slowness {
    double bytesPerSecond = 0;
    Clock::time_point end;

    Slowness() {
        double seconds = 0;
        const char* text = std::getenv("LUMICRATE_SLOW_DISK");
        std::istringstream(text != nullptr ? text : "") >> bytesPerSecond >> seconds;
        end = Clock::now() + std::chrono::duration_cast<Clock::duration>(Seconds(seconds));
    }
};

void takeTimeFor(std::size_t size) {
    static const Slowness slowness;
    if (slowness.bytesPerSecond <= 0) return;
    const Seconds needed(static_cast<double>(size) / slowness.bytesPerSecond);
    const auto until = Clock::now() + std::chrono::duration_cast<Clock::duration>(needed);
    std::this_thread::sleep_until(std::min(until, slowness.end));
}

}  // namespace

extern "C" ssize_t pwrite(int file, const void* data, size_t size, off_t offset) {
    static const auto real =
        reinterpret_cast<ssize_t (*)(int, const void*, size_t, off_t)>(dlsym(RTLD_NEXT, "pwrite"));
    takeTimeFor(size);
    return real(file, data, size, offset);
}
