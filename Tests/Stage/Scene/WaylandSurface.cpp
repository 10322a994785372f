// SPDX-License-Identifier: GPL-3.0-or-later
#include "Tests/Stage/ChildProcess.h"
#include "Tests/Stage/Scene/Surface.h"
#include "Tests/Stage/Wayland/Connection.h"

#include <sys/mman.h>
#include <unistd.h>
#include <viewporter-client.h>
#include <xdg-output-unstable-v1-client.h>
#include <xdg-shell-client.h>

#include <algorithm>
#include <cstring>
#include <list>
#include <stdexcept>
#include <utility>
#include <vector>

namespace lumicrate::stage {

namespace {

Area intersection(const Area& one, const Area& other) {
    const int left = std::max(one.x, other.x);
    const int top = std::max(one.y, other.y);
    return {left, top, std::max(std::min(one.x + one.width, other.x + other.width) - left, 0),
            std::max(std::min(one.y + one.height, other.y + other.height) - top, 0)};
}

/// A picture in memory that is shared with the compositor.
class SharedBuffer {
 public:
    SharedBuffer(wl_shm* memory, int width, int height)
        : width_(width), size_(static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * 4) {
        const Descriptor file(memfd_create("picture", MFD_CLOEXEC));
        if (ftruncate(file.get(), static_cast<off_t>(size_)) != 0) throw std::runtime_error("No memory");
        void* const mapped = mmap(nullptr, size_, PROT_READ | PROT_WRITE, MAP_SHARED, file.get(), 0);
        if (mapped == MAP_FAILED) throw std::runtime_error("No memory");
        pixels_ = static_cast<std::uint32_t*>(mapped);
        wl_shm_pool* const pool = wl_shm_create_pool(memory, file.get(), static_cast<std::int32_t>(size_));
        buffer_ = wl_shm_pool_create_buffer(pool, 0, width, height, width * 4, WL_SHM_FORMAT_XRGB8888);
        wl_shm_pool_destroy(pool);
        static constexpr wl_buffer_listener listener{
            [](void* self, wl_buffer*) { static_cast<SharedBuffer*>(self)->isBusy_ = false; }};
        wl_buffer_add_listener(buffer_, &listener, this);
        markStale({0, 0, width, height});
    }
    SharedBuffer(const SharedBuffer&) = delete;
    SharedBuffer& operator=(const SharedBuffer&) = delete;
    ~SharedBuffer() {
        wl_buffer_destroy(buffer_);
        munmap(pixels_, size_);
    }

    bool isBusy() const { return isBusy_; }
    void markStale(const Area& area) { stale_.push_back(area); }
    /// Brings it up to date, for the compositor to read.
    wl_buffer* handOver(const Image& picture) {
        for (const Area& area : std::exchange(stale_, {})) {
            for (int y = area.y; y < area.y + area.height; ++y)
                std::copy_n(picture.row(y) + area.x, area.width,
                            pixels_ + std::ptrdiff_t{y} * width_ + area.x);
        }
        isBusy_ = true;
        return buffer_;
    }

 private:
    int width_;
    std::size_t size_;
    std::uint32_t* pixels_ = nullptr;
    wl_buffer* buffer_ = nullptr;
    bool isBusy_ = false;
    std::vector<Area> stale_;
};

/// What is known of an output when all its events have come.
struct OutputFacts {
    wl_output* object = nullptr;
    std::string name;
    int width = 0;
    int height = 0;
    bool isTurned = false;
};

std::list<OutputFacts> readOutputs(WaylandConnection& connection) {
    static constexpr wl_output_listener listener{
        .geometry =
            [](void* facts, wl_output*, std::int32_t, std::int32_t, std::int32_t, std::int32_t, std::int32_t,
               const char*, const char*,
               std::int32_t transform) { static_cast<OutputFacts*>(facts)->isTurned = transform % 2 != 0; },
        .mode =
            [](void* facts, wl_output*, std::uint32_t flags, std::int32_t width, std::int32_t height,
               std::int32_t) {
                if ((flags & WL_OUTPUT_MODE_CURRENT) == 0) return;
                static_cast<OutputFacts*>(facts)->width = width;
                static_cast<OutputFacts*>(facts)->height = height;
            },
        .done = [](void*, wl_output*) {},
        .scale = [](void*, wl_output*, std::int32_t) {},
        .name = [](void*, wl_output*, const char*) {},
        .description = [](void*, wl_output*, const char*) {}};
    // Its name has been known for longer than wl_output's.
    static constexpr zxdg_output_v1_listener nameListener{
        .logical_position = [](void*, zxdg_output_v1*, std::int32_t, std::int32_t) {},
        .logical_size = [](void*, zxdg_output_v1*, std::int32_t, std::int32_t) {},
        .done = [](void*, zxdg_output_v1*) {},
        .name = [](void* facts, zxdg_output_v1*,
                   const char* name) { static_cast<OutputFacts*>(facts)->name = name; },
        .description = [](void*, zxdg_output_v1*, const char*) {}};
    auto* const manager = connection.bind<zxdg_output_manager_v1>(zxdg_output_manager_v1_interface, 2);
    std::list<OutputFacts> outputs;
    for (auto* object : connection.bindAll<wl_output>(wl_output_interface, 2)) {
        OutputFacts& facts = outputs.emplace_back();
        facts.object = object;
        wl_output_add_listener(object, &listener, &facts);
        zxdg_output_v1_add_listener(connection.keep(zxdg_output_manager_v1_get_xdg_output(manager, object)),
                                    &nameListener, &facts);
    }
    connection.sync();
    return outputs;  // moved: the listeners' pointers stay valid
}

/// The picture of a window in the scene, in its place.
struct Layer {
    Image picture;
    Area place;
};

/// The window that the compositor sees, composed of the scene's windows.
class Window {
 public:
    Window(const std::string& title, const std::string& outputName);

    int width() const { return picture_.width(); }
    int height() const { return picture_.height(); }
    std::vector<Image>& images() { return images_; }
    void add(Layer& layer) {
        layers_.push_back(&layer);
        invalidate(layer.place);
    }
    void remove(Layer& layer) {
        std::erase(layers_, &layer);
        invalidate(layer.place);
    }
    void invalidate(const Area& area) {
        const Area inside = picture_.clipped(area);
        if (inside.width > 0 && inside.height > 0) changed_.push_back(inside);
    }
    /// Returns when the compositor has drawn it.
    void present();

 private:
    const OutputFacts& chooseOutput(const std::string& name) const;
    void open(const std::string& title, wl_output* output);
    void compose();
    SharedBuffer& freeBuffer();
    void drawFrame();

    WaylandConnection connection_;
    std::list<OutputFacts> outputs_ = readOutputs(connection_);
    wl_shm* memory_ = connection_.bind<wl_shm>(wl_shm_interface, 1);
    wl_surface* surface_ = nullptr;
    wp_viewport* viewport_ = nullptr;
    bool isFullscreen_ = false;
    bool isConfigured_ = false;
    int logicalWidth_ = 0;
    int logicalHeight_ = 0;
    std::vector<Image> images_;
    std::vector<Layer*> layers_;  // from the lowest to the topmost
    Image picture_;
    std::vector<Area> changed_;
    std::list<SharedBuffer> buffers_;
};

Window::Window(const std::string& title, const std::string& outputName) : picture_(0, 0) {
    const OutputFacts& output = chooseOutput(outputName);
    picture_ = output.isTurned ? Image(output.height, output.width) : Image(output.width, output.height);
    open(title, output.object);
    // Some compositors make it fill the output only after its first picture.
    do {
        changed_ = {{0, 0, width(), height()}};
        drawFrame();
    } while (!isFullscreen_);
}

const OutputFacts& Window::chooseOutput(const std::string& name) const {
    const auto found = std::ranges::find_if(
        outputs_, [&](const OutputFacts& each) { return name.empty() || each.name == name; });
    if (found == outputs_.end()) throw std::runtime_error("No Wayland output " + name);
    return *found;
}

void Window::open(const std::string& title, wl_output* output) {
    auto* const compositor = connection_.bind<wl_compositor>(wl_compositor_interface, 4);
    auto* const shell = connection_.bind<xdg_wm_base>(xdg_wm_base_interface, 1);
    auto* const scaler = connection_.bind<wp_viewporter>(wp_viewporter_interface, 1);
    static constexpr xdg_wm_base_listener shellListener{
        [](void*, xdg_wm_base* base, std::uint32_t serial) { xdg_wm_base_pong(base, serial); }};
    xdg_wm_base_add_listener(shell, &shellListener, nullptr);
    surface_ = connection_.keep(wl_compositor_create_surface(compositor));
    viewport_ = connection_.keep(wp_viewporter_get_viewport(scaler, surface_));
    xdg_surface* const role = connection_.keep(xdg_wm_base_get_xdg_surface(shell, surface_));
    static constexpr xdg_surface_listener roleListener{
        [](void* self, xdg_surface* surface, std::uint32_t serial) {
            xdg_surface_ack_configure(surface, serial);
            static_cast<Window*>(self)->isConfigured_ = true;
        }};
    xdg_surface_add_listener(role, &roleListener, this);
    xdg_toplevel* const window = connection_.keep(xdg_surface_get_toplevel(role));
    static constexpr xdg_toplevel_listener windowListener{
        .configure =
            [](void* data, xdg_toplevel*, std::int32_t width, std::int32_t height, wl_array* states) {
                auto* const self = static_cast<Window*>(data);
                self->logicalWidth_ = width;
                self->logicalHeight_ = height;
                const auto* const first = static_cast<const std::uint32_t*>(states->data);
                const auto* const last = first + states->size / sizeof *first;
                self->isFullscreen_ = std::find(first, last, XDG_TOPLEVEL_STATE_FULLSCREEN) != last;
            },
        .close = [](void*, xdg_toplevel*) {},
        .configure_bounds = [](void*, xdg_toplevel*, std::int32_t, std::int32_t) {},
        .wm_capabilities = [](void*, xdg_toplevel*, wl_array*) {}};
    xdg_toplevel_add_listener(window, &windowListener, this);
    xdg_toplevel_set_title(window, title.c_str());
    xdg_toplevel_set_app_id(window, "lumicrate-scene");
    xdg_toplevel_set_fullscreen(window, output);
    wl_surface_commit(surface_);
    while (!isConfigured_)
        connection_.dispatch();
}

void Window::compose() {
    for (const Area& area : changed_) {
        for (const Layer* layer : layers_) {
            const Area common = intersection(area, layer->place);
            picture_.copyFrom(
                layer->picture,
                {common.x - layer->place.x, common.y - layer->place.y, common.width, common.height}, common.x,
                common.y);
        }
        for (SharedBuffer& buffer : buffers_)
            buffer.markStale(area);
    }
}

SharedBuffer& Window::freeBuffer() {
    constexpr std::size_t maxBuffers = 4;
    for (;;) {
        const auto found = std::ranges::find(buffers_, false, &SharedBuffer::isBusy);
        if (found != buffers_.end()) return *found;
        if (buffers_.size() < maxBuffers) return buffers_.emplace_back(memory_, width(), height());
        connection_.dispatch();
    }
}

void Window::drawFrame() {
    compose();
    wl_surface_attach(surface_, freeBuffer().handOver(picture_), 0, 0);
    for (const Area& area : std::exchange(changed_, {}))
        wl_surface_damage_buffer(surface_, area.x, area.y, area.width, area.height);
    if (logicalWidth_ > 0 && logicalHeight_ > 0)
        wp_viewport_set_destination(viewport_, logicalWidth_, logicalHeight_);
    bool isDrawn = false;
    static constexpr wl_callback_listener listener{
        [](void* isDone, wl_callback*, std::uint32_t) { *static_cast<bool*>(isDone) = true; }};
    wl_callback* const frame = wl_surface_frame(surface_);
    wl_callback_add_listener(frame, &listener, &isDrawn);
    wl_surface_commit(surface_);
    while (!isDrawn)
        connection_.dispatch();
    wl_callback_destroy(frame);
}

void Window::present() {
    if (changed_.empty()) {
        connection_.sync();
    } else {
        drawFrame();
    }
}

class WaylandSurface final : public Surface {
 public:
    WaylandSurface(std::shared_ptr<Window> window, const Area& area)
        : window_(std::move(window)), layer_{Image(area.width, area.height), area} {
        window_->add(layer_);
    }
    WaylandSurface(const WaylandSurface&) = delete;
    WaylandSurface& operator=(const WaylandSurface&) = delete;
    ~WaylandSurface() override { window_->remove(layer_); }

    std::unique_ptr<Surface> openWindow(const Area& area, const std::string&) override {
        return std::make_unique<WaylandSurface>(window_, area);
    }
    std::uint32_t id() const override { return 0; }
    int width() const override { return layer_.picture.width(); }
    int height() const override { return layer_.picture.height(); }
    StoredImage store(const Image& image) override {
        window_->images().push_back(image);
        return static_cast<StoredImage>(window_->images().size() - 1);
    }
    void setBackground(StoredImage image) override {
        const Image& tile = window_->images().at(image);
        for (int y = 0; y < height(); y += tile.height()) {
            for (int x = 0; x < width(); x += tile.width())
                put(tile, {0, 0, tile.width(), tile.height()}, x, y);
        }
    }
    void copy(StoredImage image, const Area& from, int x, int y) override {
        put(window_->images().at(image), from, x, y);
    }
    void put(const Image& image, const Area& from, int x, int y) override {
        layer_.picture.copyFrom(image, from, x, y);
        invalidate({x, y, from.width, from.height});
    }
    void fill(const Area& area, Color color) override {
        layer_.picture.fill(area, color);
        invalidate(area);
    }
    void moveTo(int x, int y) override {
        window_->invalidate(layer_.place);
        layer_.place.x = x;
        layer_.place.y = y;
        window_->invalidate(layer_.place);
    }
    void sync() override { window_->present(); }

 private:
    void invalidate(const Area& area) {
        const Area inside = layer_.picture.clipped(area);
        window_->invalidate(
            {layer_.place.x + inside.x, layer_.place.y + inside.y, inside.width, inside.height});
    }

    std::shared_ptr<Window> window_;
    Layer layer_;
};

}  // namespace

std::unique_ptr<Surface> openWaylandCanvas(const std::string& title, const std::string& outputName) {
    auto window = std::make_shared<Window>(title, outputName);
    const Area area{0, 0, window->width(), window->height()};
    return std::make_unique<WaylandSurface>(std::move(window), area);
}

}  // namespace lumicrate::stage
