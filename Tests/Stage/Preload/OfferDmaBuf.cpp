// SPDX-License-Identifier: GPL-3.0-or-later
// Preloaded into xdg-desktop-portal-wlr where the compositor has no DMA-BUF: that portal casts by shared
// memory but first insists on a DMA-BUF format for each frame. Here a frame without one reports XRGB8888 in
// its size.
#include <dlfcn.h>
#include <wayland-client-core.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace {

// The events of zwlr_screencopy_frame_v1, version 3, in their order.
struct FrameEvents {
    void (*buffer)(void*, wl_proxy*, std::uint32_t format, std::uint32_t width, std::uint32_t height,
                   std::uint32_t stride);
    void (*flags)(void*, wl_proxy*, std::uint32_t);
    void (*ready)(void*, wl_proxy*, std::uint32_t, std::uint32_t, std::uint32_t);
    void (*failed)(void*, wl_proxy*);
    void (*damage)(void*, wl_proxy*, std::uint32_t, std::uint32_t, std::uint32_t, std::uint32_t);
    void (*dmaBuf)(void*, wl_proxy*, std::uint32_t format, std::uint32_t width, std::uint32_t height);
    void (*bufferDone)(void*, wl_proxy*);
};

constexpr std::uint32_t xrgb8888 = 0x34325258;

FrameEvents portal;
std::uint32_t frameWidth = 0;
std::uint32_t frameHeight = 0;
bool hasDmaBuf = false;

FrameEvents completed(const FrameEvents& original) {
    FrameEvents events = original;
    events.buffer = [](void* data, wl_proxy* frame, std::uint32_t format, std::uint32_t width,
                       std::uint32_t height, std::uint32_t stride) {
        frameWidth = width;
        frameHeight = height;
        hasDmaBuf = false;
        portal.buffer(data, frame, format, width, height, stride);
    };
    events.dmaBuf = [](void* data, wl_proxy* frame, std::uint32_t format, std::uint32_t width,
                       std::uint32_t height) {
        hasDmaBuf = true;
        portal.dmaBuf(data, frame, format, width, height);
    };
    events.bufferDone = [](void* data, wl_proxy* frame) {
        if (!hasDmaBuf) portal.dmaBuf(data, frame, xrgb8888, frameWidth, frameHeight);
        portal.bufferDone(data, frame);
    };
    return events;
}

__attribute__((constructor)) void leaveChildrenAlone() {
    unsetenv("LD_PRELOAD");
}

}  // namespace

extern "C" int wl_proxy_add_listener(wl_proxy* proxy, void (**implementation)(), void* data) {
    using Function = int (*)(wl_proxy*, void (**)(), void*);
    static const auto next = reinterpret_cast<Function>(dlsym(RTLD_NEXT, "wl_proxy_add_listener"));
    static FrameEvents events;
    if (std::strcmp(wl_proxy_get_class(proxy), "zwlr_screencopy_frame_v1") == 0) {
        std::memcpy(&portal, implementation, sizeof portal);
        events = completed(portal);
        implementation = reinterpret_cast<void (**)()>(&events);
    }
    return next(proxy, implementation, data);
}
