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

/// Frees an object here; the compositor's ends with the connection.
struct DestroyProxy {
    template <class Object>
    void operator()(Object* object) const {
        wl_proxy_destroy(reinterpret_cast<wl_proxy*>(object));
    }
};
template <class Object>
using Owned = std::unique_ptr<Object, DestroyProxy>;

/// What the surface needs of the compositor.
struct Globals {
    Owned<wl_compositor> compositor;
    Owned<wl_shm> memory;
    Owned<zwlr_layer_shell_v1> layers;
    std::vector<Owned<wl_output>> outputs;

    void add(wl_registry* registry, std::uint32_t name, std::string_view interface) {
        const auto bind = [&](const wl_interface& wanted) {
            return interface == wanted.name ? wl_registry_bind(registry, name, &wanted, 1) : nullptr;
        };
        if (void* const found = bind(wl_compositor_interface))
            compositor.reset(static_cast<wl_compositor*>(found));
        if (void* const found = bind(wl_shm_interface)) memory.reset(static_cast<wl_shm*>(found));
        if (void* const found = bind(zwlr_layer_shell_v1_interface))
            layers.reset(static_cast<zwlr_layer_shell_v1*>(found));
        if (void* const found = bind(wl_output_interface))
            outputs.emplace_back(static_cast<wl_output*>(found));
    }
};

/// One transparent pixel; null when the system is out of resources.
Owned<wl_buffer> transparentPixel(wl_shm& memory) {
    const int file = memfd_create("lumicrate-redraw", MFD_CLOEXEC);
    Owned<wl_buffer> buffer;
    if (file >= 0 && ftruncate(file, bytesPerPixel) == 0) {
        const Owned<wl_shm_pool> pool(wl_shm_create_pool(&memory, file, bytesPerPixel));
        buffer.reset(wl_shm_pool_create_buffer(pool.get(), 0, 1, 1, bytesPerPixel, WL_SHM_FORMAT_ARGB8888));
    }
    if (file >= 0) close(file);
    return buffer;
}

/// A surface of one point that appears when the compositor has placed it.
class TransparentSurface {
 public:
    TransparentSurface(const Globals& globals, wl_output* output, wl_buffer* pixel)
        : surface_(wl_compositor_create_surface(globals.compositor.get())),
          layer_(zwlr_layer_shell_v1_get_layer_surface(globals.layers.get(), surface_.get(), output,
                                                       topmostLayer, "lumicrate-redraw")),
          pixel_(pixel) {
        // It must not take the pointer's clicks.
        const Owned<wl_region> nothing(wl_compositor_create_region(globals.compositor.get()));
        wl_surface_set_input_region(surface_.get(), nothing.get());
        zwlr_layer_surface_v1_set_size(layer_.get(), 1, 1);
        zwlr_layer_surface_v1_set_anchor(layer_.get(), topLeft);
        zwlr_layer_surface_v1_set_exclusive_zone(layer_.get(), -1);
        static constexpr zwlr_layer_surface_v1_listener listener{
            [](void* self, zwlr_layer_surface_v1*, std::uint32_t serial, std::uint32_t, std::uint32_t) {
                static_cast<TransparentSurface*>(self)->appear(serial);
            },
            [](void*, zwlr_layer_surface_v1*) {}};
        zwlr_layer_surface_v1_add_listener(layer_.get(), &listener, this);
        wl_surface_commit(surface_.get());
    }
    TransparentSurface(const TransparentSurface&) = delete;
    TransparentSurface& operator=(const TransparentSurface&) = delete;

    /// The compositor has drawn it.
    const bool& isDrawn() const { return isDrawn_; }

 private:
    void appear(std::uint32_t serial) {
        zwlr_layer_surface_v1_ack_configure(layer_.get(), serial);
        wl_surface_attach(surface_.get(), pixel_, 0, 0);
        wl_surface_damage(surface_.get(), 0, 0, 1, 1);
        drawn_.reset(wl_surface_frame(surface_.get()));
        static constexpr wl_callback_listener listener{[](void* self, wl_callback*, std::uint32_t) {
            static_cast<TransparentSurface*>(self)->isDrawn_ = true;
        }};
        wl_callback_add_listener(drawn_.get(), &listener, this);
        wl_surface_commit(surface_.get());
    }

    Owned<wl_surface> surface_;
    Owned<zwlr_layer_surface_v1> layer_;
    Owned<wl_callback> drawn_;
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
    const Owned<wl_buffer> pixel = transparentPixel(*globals.memory);
    if (!pixel) return;
    std::vector<std::unique_ptr<TransparentSurface>> surfaces;
    for (const auto& output : globals.outputs)
        surfaces.push_back(std::make_unique<TransparentSurface>(globals, output.get(), pixel.get()));
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
