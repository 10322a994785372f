// SPDX-License-Identifier: GPL-3.0-or-later
// PixelBufferPool: reusable buffers for the pictures that a stream delivers.
#pragma once

#include "Linux/Pictures/BlockRegion.h"
#include "Linux/Pictures/WakeUp.h"
#include "Platform/CMSampleBuffer.h"

#include <memory>
#include <vector>

namespace lumicrate::pictures {

/// A writable picture that tracks which parts of it are outdated.
class PixelBuffer final : public CVPixelBuffer {
 public:
    PixelBuffer(int pictureWidth, int pictureHeight);

    std::uint8_t* writableLuma() { return storage_.data(); }
    std::uint8_t* writableChroma() { return storage_.data() + chromaOffset_; }

    /// What must be drawn before the buffer shows the current picture; everything at first.
    BlockRegion stale;

 private:
    std::size_t chromaOffset_;
    std::vector<std::uint8_t> storage_;
};

/// Buffers are allocated on demand. A returned buffer still contains its last picture, so only what changed
/// since must be drawn. All operations belong to one thread; buffers may be released on any thread, also
/// after the pool is gone.
class PixelBufferPool {
 public:
    /// At most `depth` buffers are in use at once. `returned` is signalled when a buffer is released after
    /// hasFree() has returned false.
    PixelBufferPool(int width, int height, int depth, std::shared_ptr<WakeUp> returned);

    /// Whether acquire() would return a buffer.
    bool hasFree();
    /// Marks a change of the picture in all buffers.
    void invalidate(const BlockRegion& changed);
    /// The free buffer with the fewest stale blocks; null when all are in use.
    std::shared_ptr<PixelBuffer> acquire();

 private:
    struct FreeList;

    int width_;
    int height_;
    std::size_t depth_;
    std::vector<std::shared_ptr<PixelBuffer>> all_;
    std::shared_ptr<FreeList> freeList_;
};

}  // namespace lumicrate::pictures
