// SPDX-License-Identifier: GPL-3.0-or-later
// A slow disk, as a program sees it that is started with this preloaded: from its first write on it writes
// 40 kB per second, for 12 seconds. A file with "stalled" in its name is on a disk that never answers; the
// program prints that word when it waits for it.

#include <dlfcn.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <string_view>
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

namespace {

using Stat = int (*)(const char*, struct stat*);

int answer(const char* name, const char* path, struct stat* status) {
    constexpr std::string_view word = "stalled";
    if (std::string_view(path).find(word) == std::string_view::npos)
        return reinterpret_cast<Stat>(dlsym(RTLD_NEXT, name))(path, status);
    if (write(STDOUT_FILENO, "stalled\n", word.size() + 1) < 0) return -1;
    for (;;)
        pause();
}

}  // namespace

extern "C" int stat(const char* path, struct stat* status) {
    return answer("stat", path, status);
}

extern "C" int lstat(const char* path, struct stat* status) {
    return answer("lstat", path, status);
}
