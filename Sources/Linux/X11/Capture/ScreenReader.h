// SPDX-License-Identifier: GPL-3.0-or-later
// ScreenReader: reads pixels of the screen, or of pixmaps, through memory shared with the server (MIT-SHM).
#pragma once

#include "Linux/Pictures/BgraPicture.h"
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
    /// Throws PlatformError when no memory is left, or the server runs on another machine.
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

/// A rectangle to read, and where from.
struct PixelRead {
    PixelRect rect;                      ///< on the root window
    xcb_drawable_t drawable = XCB_NONE;  ///< the root window or a pixmap
    int originX = 0;                     ///< the place of the drawable's top-left pixel on the root window
    int originY = 0;
};

class ScreenReader {
 public:
    /// `connection` must outlive the reader. Throws PlatformError when the screen has a pixel format other
    /// than 8 bits each of blue, green and red in 32, or the server cannot share memory.
    explicit ScreenReader(const Connection& connection);

    /// Reads all rectangles in one round trip. The result is nothing for a rectangle that the server refuses
    /// because it reaches outside of the drawable by now. The pixels are valid until the next call.
    std::vector<std::optional<pictures::BgraView>> read(const std::vector<PixelRead>& reads);
    /// The first rectangle of the last call as a picture that shares its memory: the reader does not reuse
    /// the memory while the picture lives. The picture must not outlive the reader.
    pictures::BgraPicture keepFirst(int width, int height) const;

 private:
    SharedMemory& reserve(std::size_t size);

    const Connection& connection_;
    std::shared_ptr<SharedMemory> memory_;  ///< of the last call
    std::shared_ptr<SharedMemory> spare_;
};

}  // namespace lumicrate::x11
