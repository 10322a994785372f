#include "Linux/X11/Server/WakeUp.h"

#include "Support/Error.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>

namespace lumicrate::x11 {

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

void WakeUp::clear() noexcept {
    eventfd_t count = 0;
    [[maybe_unused]] const int result = eventfd_read(descriptor_, &count);
}

}  // namespace lumicrate::x11
