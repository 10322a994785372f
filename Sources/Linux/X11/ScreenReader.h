// ScreenReader: fetches pixels of the screen through memory shared with the server.
#pragma once

#include "Linux/X11/BgraPicture.h"
#include "Linux/X11/Connection.h"
#include "Support/Geometry.h"

#include <xcb/shm.h>

#include <cstddef>
#include <functional>
#include <memory>
#include <vector>

namespace lumicrate::x11 {

/// A piece of memory that the server can write to.
class SharedMemory {
 public:
    /// Throws PlatformError when there is no memory, or the server does not run on this machine.
    SharedMemory(const Connection& connection, std::size_t size);
    ~SharedMemory();
    SharedMemory(const SharedMemory&) = delete;
    SharedMemory& operator=(const SharedMemory&) = delete;

    std::size_t size() const { return size_; }
    const std::byte* data() const { return data_; }
    xcb_shm_seg_t segment() const { return segment_; }

 private:
    const Connection& connection_;
    std::size_t size_;
    std::byte* data_ = nullptr;
    xcb_shm_seg_t segment_;
};

class ScreenReader {
 public:
    /// Takes a rectangle of the root window and its pixels, which stay only during the call.
    using Sink = std::function<void(const PixelRect&, const BgraView&)>;

    /// `connection` must outlive the reader. Throws PlatformError when the screen has a pixel format other
    /// than 8 bits each of blue, green and red in 32, or the server cannot share memory.
    explicit ScreenReader(const Connection& connection);

    /// Reads the rectangles, which must lie on the root window, and gives each to `sink` as it comes. False
    /// when the server refused one: the screen has another layout by now.
    bool read(const std::vector<PixelRect>& rects, const Sink& sink);

 private:
    struct Request {
        PixelRect rect;
        std::size_t offset = 0;
        xcb_shm_get_image_cookie_t cookie{};
    };

    void reserve(const std::vector<PixelRect>& rects);
    bool collect(const std::vector<Request>& requests, const Sink& sink) const;

    const Connection& connection_;
    std::unique_ptr<SharedMemory> memory_;
};

}  // namespace lumicrate::x11
