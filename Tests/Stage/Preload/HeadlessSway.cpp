// SPDX-License-Identifier: GPL-3.0-or-later
// Preloaded into a compositor that refuses to run as root: becoming root again fails, as after dropping it.
#include <unistd.h>

#include <cerrno>
#include <cstdlib>

namespace {

int refuseRoot(bool isRoot) {
    if (!isRoot) return 0;
    errno = EPERM;
    return -1;
}

// For this process only: Xwayland's helpers call the real functions.
__attribute__((constructor)) void leaveChildrenAlone() {
    unsetenv("LD_PRELOAD");
}

}  // namespace

extern "C" int setuid(uid_t user) noexcept {
    return refuseRoot(user == 0);
}

extern "C" int setgid(gid_t group) noexcept {
    return refuseRoot(group == 0);
}
