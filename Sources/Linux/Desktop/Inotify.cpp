#include "Linux/Desktop/Inotify.h"

#include "Support/Error.h"

#include <sys/inotify.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <system_error>

namespace lumicrate::desktop {

Inotify::Inotify() : descriptor_(inotify_init1(IN_NONBLOCK | IN_CLOEXEC)) {
    if (descriptor_ >= 0) return;
    throw PlatformError(localized("Changes of folders can't be followed:") + " " +
                            std::generic_category().message(errno) + ".",
                        errno);
}

Inotify::~Inotify() {
    close(descriptor_);
}

int Inotify::add(const std::filesystem::path& folder, std::uint32_t mask) {
    const int watch = inotify_add_watch(descriptor_, folder.c_str(), mask | IN_ONLYDIR);
    return watch < 0 ? -errno : watch;
}

void Inotify::remove(int watch) {
    inotify_rm_watch(descriptor_, watch);
}

std::vector<Inotify::Event> Inotify::read() {
    std::vector<Event> events;
    alignas(inotify_event) std::array<char, 16384> buffer{};
    for (;;) {
        const ssize_t length = ::read(descriptor_, buffer.data(), buffer.size());
        if (length <= 0) return events;
        for (ssize_t at = 0; at < length;) {
            inotify_event event{};
            std::memcpy(&event, buffer.data() + at, sizeof event);
            at += static_cast<ssize_t>(sizeof event);
            // Filled up with zeros.
            events.push_back({event.wd, event.mask, event.len > 0 ? buffer.data() + at : ""});
            at += event.len;
        }
    }
}

}  // namespace lumicrate::desktop
