// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Pictures/WakeUp.h"

#include "Support/Error.h"
#include "Support/MediaTime.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <ctime>

namespace lumicrate::pictures {

std::optional<std::chrono::nanoseconds> earliest(
    std::initializer_list<std::optional<std::chrono::nanoseconds>> times) {
    std::optional<std::chrono::nanoseconds> next;
    for (const auto& time : times)
        if (time) next = std::min(next.value_or(*time), *time);
    return next;
}

WakeUp::WakeUp() : descriptor_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    if (descriptor_ < 0) throw PlatformError(localized("The system is out of resources."), errno);
}

WakeUp::~WakeUp() {
    close(descriptor_);
}

void WakeUp::signal() noexcept {
    // Fails only when the counter is full; the descriptor is readable then anyway.
    [[maybe_unused]] const int result = eventfd_write(descriptor_, 1);
}

void WakeUp::wait(int otherDescriptor, std::optional<std::chrono::nanoseconds> until) noexcept {
    std::array<pollfd, 2> watched{{{descriptor_, POLLIN, 0}, {otherDescriptor, POLLIN, 0}}};
    timespec timeout{};
    if (until) {
        const auto left = std::max(*until - HostClock::now(), std::chrono::nanoseconds::zero());
        const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(left);
        timeout = {static_cast<std::time_t>(seconds.count()), static_cast<long>((left - seconds).count())};
    }
    ppoll(watched.data(), watched.size(), until ? &timeout : nullptr, nullptr);
    eventfd_t count = 0;
    [[maybe_unused]] const int result = eventfd_read(descriptor_, &count);
}

}  // namespace lumicrate::pictures
