// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Wayland/Redraw.h"

#include "Linux/Wayland/Connection.h"
#include "Support/Error.h"
#include "Support/Log.h"

#include <layer-surface-client.h>
#include <sys/mman.h>
#include <unistd.h>
#include <wayland-client.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

namespace lumicrate::wayland {

namespace {

/// An output that is switched off draws nothing.
constexpr std::chrono::milliseconds drawTimeout(100);
constexpr std::uint32_t topmostLayer = 3;
constexpr std::uint32_t topLeft = 1 + 4;
constexpr std::int32_t bytesPerPixel = 4;

/// What the surface needs of the compositor. The objects end with the connection.
struct Globals {
    wl_compositor* compositor = nullptr;
    wl_shm* memory = nullptr;
    zwlr_layer_shell_v1* layers = nullptr;
    std::vector<wl_output*> outputs;

    void add(wl_registry* registry, std::uint32_t name, std::string_view interface) {
        const auto bind = [&](const wl_interface& wanted) {
            return interface == wanted.name ? wl_registry_bind(registry, name, &wanted, 1) : nullptr;
        };
        if (void* const found = bind(wl_compositor_interface))
            compositor = static_cast<wl_compositor*>(found);
        if (void* const found = bind(wl_shm_interface)) memory = static_cast<wl_shm*>(found);
        if (void* const found = bind(zwlr_layer_shell_v1_interface))
            layers = static_cast<zwlr_layer_shell_v1*>(found);
        if (void* const found = bind(wl_output_interface)) outputs.push_back(static_cast<wl_output*>(found));
    }
};

/// One transparent pixel; null when the system is out of resources.
wl_buffer* transparentPixel(wl_shm* memory) {
    const int file = memfd_create("lumicrate-redraw", MFD_CLOEXEC);
    if (file < 0 || ftruncate(file, bytesPerPixel) != 0) return nullptr;
    wl_shm_pool* const pool = wl_shm_create_pool(memory, file, bytesPerPixel);
    wl_buffer* const buffer = wl_shm_pool_create_buffer(pool, 0, 1, 1, bytesPerPixel, WL_SHM_FORMAT_ARGB8888);
    wl_shm_pool_destroy(pool);
    close(file);
    return buffer;
}

/// A surface of one point that appears when the compositor has placed it. Its objects end with the
/// connection.
class TransparentSurface {
 public:
    TransparentSurface(const Globals& globals, wl_output* output, wl_buffer* pixel)
        : surface_(wl_compositor_create_surface(globals.compositor)), pixel_(pixel) {
        // It must not take the pointer's clicks.
        wl_region* const nothing = wl_compositor_create_region(globals.compositor);
        wl_surface_set_input_region(surface_, nothing);
        wl_region_destroy(nothing);
        zwlr_layer_surface_v1* const layer = zwlr_layer_shell_v1_get_layer_surface(
            globals.layers, surface_, output, topmostLayer, "lumicrate-redraw");
        zwlr_layer_surface_v1_set_size(layer, 1, 1);
        zwlr_layer_surface_v1_set_anchor(layer, topLeft);
        zwlr_layer_surface_v1_set_exclusive_zone(layer, -1);
        static constexpr zwlr_layer_surface_v1_listener listener{
            [](void* self, zwlr_layer_surface_v1* placed, std::uint32_t serial, std::uint32_t,
               std::uint32_t) { static_cast<TransparentSurface*>(self)->appear(placed, serial); },
            [](void*, zwlr_layer_surface_v1*) {}};
        zwlr_layer_surface_v1_add_listener(layer, &listener, this);
        wl_surface_commit(surface_);
    }
    TransparentSurface(const TransparentSurface&) = delete;
    TransparentSurface& operator=(const TransparentSurface&) = delete;

    /// The compositor has drawn it.
    const bool& isDrawn() const { return isDrawn_; }

 private:
    void appear(zwlr_layer_surface_v1* layer, std::uint32_t serial) {
        zwlr_layer_surface_v1_ack_configure(layer, serial);
        wl_surface_attach(surface_, pixel_, 0, 0);
        wl_surface_damage(surface_, 0, 0, 1, 1);
        static constexpr wl_callback_listener listener{[](void* self, wl_callback* drawn, std::uint32_t) {
            static_cast<TransparentSurface*>(self)->isDrawn_ = true;
            wl_callback_destroy(drawn);
        }};
        wl_callback_add_listener(wl_surface_frame(surface_), &listener, this);
        wl_surface_commit(surface_);
    }

    wl_surface* surface_;
    wl_buffer* pixel_;
    bool isDrawn_ = false;
};

void showSurfaces(const std::string& displayName, std::chrono::milliseconds timeout) {
    Connection connection(displayName, timeout);
    Globals globals;
    connection.followGlobals({[&](std::uint32_t name, std::string_view interface, std::uint32_t) {
                                  globals.add(connection.registry(), name, interface);
                              },
                              {}});
    connection.sync();
    if (!globals.compositor || !globals.memory || !globals.layers) return;
    wl_buffer* const pixel = transparentPixel(globals.memory);
    if (!pixel) return;
    std::vector<std::unique_ptr<TransparentSurface>> surfaces;
    for (wl_output* const output : globals.outputs)
        surfaces.push_back(std::make_unique<TransparentSurface>(globals, output, pixel));
    for (const auto& surface : surfaces)
        connection.await(surface->isDrawn(), drawTimeout);
    log(LogArea::capture, "wayland: asked for a frame of ", surfaces.size(), " outputs");
}

}  // namespace

void requestRedraw(const std::string& displayName, std::chrono::milliseconds timeout) noexcept {
    try {
        showSurfaces(displayName, timeout);
    } catch (const PlatformError& error) {
        log(LogArea::capture, "wayland: no frame can be asked for: ", error.what());
    }
}

}  // namespace lumicrate::wayland
