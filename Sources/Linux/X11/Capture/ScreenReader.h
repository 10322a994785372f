// ScreenReader: fetches pixels of the screen, or of pixmaps, through memory shared with the server.
#pragma once

#include "Linux/X11/Pixels/BgraPicture.h"
#include "Linux/X11/Server/Connection.h"
#include "Support/Geometry.h"

#include <xcb/shm.h>

#include <cstddef>
#include <memory>
#include <optional>
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
    std::byte* data() { return data_; }
    xcb_shm_seg_t segment() const { return segment_; }

 private:
    const Connection& connection_;
    std::size_t size_;
    std::byte* data_ = nullptr;
    xcb_shm_seg_t segment_;
};

/// What is to be read, and from where.
struct PixelRead {
    PixelRect rect;                      ///< on the root window
    xcb_drawable_t drawable = XCB_NONE;  ///< the root window, or a pixmap with the pixels of a part of it
    int originX = 0;                     ///< where on the root window the drawable's top-left pixel belongs
    int originY = 0;
};

class ScreenReader {
 public:
    /// `connection` must outlive the reader. Throws PlatformError when the screen has a pixel format other
    /// than 8 bits each of blue, green and red in 32, or the server cannot share memory.
    explicit ScreenReader(const Connection& connection);

    /// Reads all of this in one round trip. The rectangles must lie in their drawables; one that the server
    /// refuses, because the drawable is another one by now, gives nothing. The pixels stay until the next
    /// call.
    std::vector<std::optional<BgraView>> read(const std::vector<PixelRead>& reads);
    /// What the last call read first, as a picture that stays for as long as it is held: nothing is read into
    /// its memory before it has gone, which is to be before the reader.
    BgraPicture keepFirst(int width, int height) const;

 private:
    SharedMemory& reserve(std::size_t size);

    const Connection& connection_;
    std::shared_ptr<SharedMemory> memory_;  ///< of the last call
    std::shared_ptr<SharedMemory> spare_;
};

}  // namespace lumicrate::x11
