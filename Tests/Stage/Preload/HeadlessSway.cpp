// SPDX-License-Identifier: GPL-3.0-or-later
// Preloaded into sway: allows it to run as root, which it refuses if it could become root again; and unplugs
// outputs, for which some releases have no command where there is no real monitor.
#include <dlfcn.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>

namespace {

int refuseRoot(bool isRoot) {
    if (!isRoot) return 0;
    errno = EPERM;
    return -1;
}

template <class Function>
Function realFunction(const char* name) {
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
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

/// What the command create_output calls. If the stage has put a file there, the output that was created last
/// is destroyed instead.
extern "C" void* wlr_headless_add_output(void* backend, unsigned width, unsigned height) {
    static void* last = nullptr;
    const char* const order = std::getenv("LUMICRATE_UNPLUG_ORDER");
    if (order == nullptr || unlink(order) != 0) {
        last = realFunction<void* (*)(void*, unsigned, unsigned)>("wlr_headless_add_output")(backend, width,
                                                                                             height);
    } else if (last != nullptr) {
        realFunction<void (*)(void*)>("wlr_output_destroy")(last);
        last = nullptr;
    }
    return last;
}
