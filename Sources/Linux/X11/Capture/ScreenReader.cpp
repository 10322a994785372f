// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/X11/Capture/ScreenReader.h"

#include "Support/Error.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <utility>

namespace lumicrate::x11 {

namespace {

constexpr std::size_t bytesPerPixel = 4;

std::size_t bytesOf(const PixelRect& rect) {
    return static_cast<std::size_t>(rect.area()) * bytesPerPixel;
}

const xcb_visualtype_t* rootVisual(const xcb_screen_t& screen) {
    for (auto depth = xcb_screen_allowed_depths_iterator(&screen); depth.rem > 0; xcb_depth_next(&depth)) {
        for (auto each = xcb_depth_visuals_iterator(depth.data); each.rem > 0; xcb_visualtype_next(&each)) {
            if (each.data->visual_id == screen.root_visual) return each.data;
        }
    }
    return nullptr;
}

bool hasKnownPixelFormat(const Connection& connection) {
    const xcb_setup_t* const setup = xcb_get_setup(connection.get());
    if (setup->image_byte_order != XCB_IMAGE_ORDER_LSB_FIRST) return false;
    const xcb_visualtype_t* const visual = rootVisual(connection.screen());
    if (visual == nullptr || visual->red_mask != 0xff0000 || visual->green_mask != 0xff00 ||
        visual->blue_mask != 0xff) {
        return false;
    }
    for (auto each = xcb_setup_pixmap_formats_iterator(setup); each.rem > 0; xcb_format_next(&each)) {
        if (each.data->depth == connection.screen().root_depth) return each.data->bits_per_pixel == 32;
    }
    return false;
}

}  // namespace

SharedMemory::SharedMemory(const Connection& connection, std::size_t size)
    : connection_(connection), size_(size), segment_(connection.generateId()) {
    // A memory descriptor can be passed to a server in another container, and is freed with its last holder.
    const int descriptor = memfd_create("lumicrate-screen", MFD_CLOEXEC);
    if (descriptor < 0) throw PlatformError(localized("The system is out of resources."), errno);
    void* mapped = MAP_FAILED;
    if (ftruncate(descriptor, static_cast<off_t>(size)) == 0) {
        mapped = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, descriptor, 0);
    }
    if (mapped == MAP_FAILED) {
        const int error = errno;
        close(descriptor);
        throw PlatformError(localized("The system is out of memory."), error);
    }
    data_ = static_cast<std::byte*>(mapped);
    // The request closes the descriptor.
    bool attached = false;
    try {
        attached = connection.succeeds(xcb_shm_attach_fd_checked(connection.get(), segment_, descriptor, 0));
    } catch (const PlatformError&) {
        munmap(data_, size_);
        throw;
    }
    if (!attached) {
        munmap(data_, size_);
        throw PlatformError(localized("The display server cannot share memory with this program."));
    }
}

SharedMemory::~SharedMemory() {
    xcb_shm_detach(connection_.get(), segment_);
    munmap(data_, size_);
}

ScreenReader::ScreenReader(const Connection& connection) : connection_(connection) {
    if (!hasKnownPixelFormat(connection)) {
        throw PlatformError(localized("The display server's pixel format is not supported."));
    }
    connection.extension(xcb_shm_id, "MIT-SHM");
    const auto version =
        connection.await(xcb_shm_query_version_reply, xcb_shm_query_version(connection.get()));
    if (version->major_version == 1 && version->minor_version < 2) {
        throw PlatformError(localized("The display server cannot share memory with this program."));
    }
}

SharedMemory& ScreenReader::reserve(std::size_t size) {
    // A picture still uses the memory.
    if (memory_.use_count() > 1) std::swap(memory_, spare_);
    if (memory_ && memory_.use_count() == 1 && memory_->size() >= size) return *memory_;
    // At least the whole screen, so that it need not grow again; untouched pages cost nothing.
    const std::size_t wholeScreen =
        bytesOf({0, 0, connection_.screen().width_in_pixels, connection_.screen().height_in_pixels});
    memory_.reset();
    memory_ = std::make_shared<SharedMemory>(connection_, std::max(size, wholeScreen));
    return *memory_;
}

pictures::BgraPicture ScreenReader::keepFirst(int width, int height) const {
    return {width, height,
            pictures::BgraPicture::Memory(memory_, reinterpret_cast<std::uint32_t*>(memory_->data()))};
}

std::vector<std::optional<pictures::BgraView>> ScreenReader::read(const std::vector<PixelRead>& reads) {
    if (reads.empty()) return {};
    std::size_t size = 0;
    for (const PixelRead& read : reads)
        size += bytesOf(read.rect);
    SharedMemory& memory = reserve(size);

    std::vector<xcb_shm_get_image_cookie_t> cookies;
    std::size_t offset = 0;
    for (const PixelRead& read : reads) {
        const PixelRect rect = read.rect.offsetBy(-read.originX, -read.originY);
        cookies.push_back(
            xcb_shm_get_image(connection_.get(), read.drawable, static_cast<std::int16_t>(rect.x),
                              static_cast<std::int16_t>(rect.y), static_cast<std::uint16_t>(rect.width),
                              static_cast<std::uint16_t>(rect.height), ~0U, XCB_IMAGE_FORMAT_Z_PIXMAP,
                              memory.segment(), static_cast<std::uint32_t>(offset)));
        offset += bytesOf(rect);
    }

    std::vector<std::optional<pictures::BgraView>> views;
    const std::byte* pixels = memory.data();
    for (std::size_t i = 0; i < reads.size(); ++i) {
        const PixelRect& rect = reads[i].rect;
        views.emplace_back();
        if (connection_.tryAwait(xcb_shm_get_image_reply, cookies[i])) {
            views.back() = pictures::BgraView{reinterpret_cast<const std::uint32_t*>(pixels), rect.width,
                                              rect.height, rect.width};
        }
        pixels += bytesOf(rect);
    }
    return views;
}

}  // namespace lumicrate::x11
