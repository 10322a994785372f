// SPDX-License-Identifier: GPL-3.0-or-later
// A slow disk, as a program sees it that is started with this preloaded: from its first write on it writes
// 40 kB per second, for 12 seconds.

#include <dlfcn.h>
#include <sys/types.h>

#include <algorithm>
#include <chrono>
#include <thread>

extern "C" ssize_t pwrite(int file, const void* data, size_t size, off_t offset) {
    using namespace std::chrono;
    static const auto real =
        reinterpret_cast<ssize_t (*)(int, const void*, size_t, off_t)>(dlsym(RTLD_NEXT, "pwrite"));
    static const auto end = steady_clock::now() + seconds(12);
    const nanoseconds needed = size * nanoseconds(seconds(1)) / 40'000;
    std::this_thread::sleep_until(std::min(steady_clock::now() + needed, end));
    return real(file, data, size, offset);
}
