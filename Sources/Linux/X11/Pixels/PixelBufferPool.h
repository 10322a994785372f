// PixelBufferPool: the pictures that a stream delivers, used over and over.
#pragma once

#include "Linux/X11/Pixels/BlockRegion.h"
#include "Linux/X11/Server/WakeUp.h"
#include "Platform/CMSampleBuffer.h"

#include <memory>
#include <vector>

namespace lumicrate::x11 {

/// A picture that can be written to, and where it shows an older state than the newest.
class PixelBuffer final : public CVPixelBuffer {
 public:
    PixelBuffer(int pictureWidth, int pictureHeight);

    std::uint8_t* writableLuma() { return storage_.data(); }
    std::uint8_t* writableChroma() { return storage_.data() + chromaOffset_; }

    /// What has to be drawn anew before the buffer shows the present picture; all of it at first.
    BlockRegion stale;

 private:
    std::size_t chromaOffset_;
    std::vector<std::uint8_t> storage_;
};

/// The buffers are made when they are first needed. One that comes back still holds the picture that it was
/// delivered with, so only what changed since has to be drawn. All operations belong to one thread; buffers
/// may be let go of on any, also after the pool is gone.
class PixelBufferPool {
 public:
    /// At most `depth` buffers are in use at once. `returned` is signalled when one comes back that was
    /// waited for.
    PixelBufferPool(int width, int height, int depth, std::shared_ptr<WakeUp> returned);

    /// Whether acquire() has a buffer to give. When not, the next one that comes back is signalled.
    bool hasFree();
    /// Notes that the picture changed there, for all buffers.
    void invalidate(const BlockRegion& changed);
    /// A free buffer, the one that lacks least; none when all are in use.
    std::shared_ptr<PixelBuffer> acquire();

 private:
    struct Shelf;

    int width_;
    int height_;
    std::size_t depth_;
    std::vector<std::shared_ptr<PixelBuffer>> all_;
    std::shared_ptr<Shelf> shelf_;
};

}  // namespace lumicrate::x11
