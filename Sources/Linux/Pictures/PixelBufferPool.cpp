// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Pictures/PixelBufferPool.h"

#include <algorithm>
#include <mutex>
#include <utility>

namespace lumicrate::pictures {

namespace {

constexpr int rowAlignment = 64;

constexpr int alignedStride(int bytes) {
    return (bytes + rowAlignment - 1) / rowAlignment * rowAlignment;
}

}  // namespace

PixelBuffer::PixelBuffer(int pictureWidth, int pictureHeight) : stale(pictureWidth, pictureHeight) {
    width = pictureWidth;
    height = pictureHeight;
    lumaStride = alignedStride(width);
    chromaStride = alignedStride((width + 1) / 2 * 2);
    chromaOffset_ = static_cast<std::size_t>(lumaStride) * static_cast<std::size_t>(height);
    storage_.resize(chromaOffset_ +
                    static_cast<std::size_t>(chromaStride) * static_cast<std::size_t>((height + 1) / 2));
    luma = writableLuma();
    chroma = writableChroma();
    stale.addAll();
}

/// Holds the unused buffers; outlives the pool while buffers are in use.
struct PixelBufferPool::FreeList {
    explicit FreeList(std::shared_ptr<WakeUp> signal) : returned(std::move(signal)) {}

    void putBack(std::shared_ptr<PixelBuffer> buffer) noexcept {
        bool signal = false;
        {
            const std::lock_guard lock(mutex);
            free.push_back(std::move(buffer));
            --inUse;
            signal = std::exchange(isAwaited, false);
        }
        if (signal) returned->signal();
    }

    std::mutex mutex;
    std::vector<std::shared_ptr<PixelBuffer>> free;
    std::size_t inUse = 0;
    bool isAwaited = false;
    std::shared_ptr<WakeUp> returned;
};

PixelBufferPool::PixelBufferPool(int width, int height, int depth, std::shared_ptr<WakeUp> returned)
    : width_(width),
      height_(height),
      depth_(static_cast<std::size_t>(std::max(depth, 1))),
      freeList_(std::make_shared<FreeList>(std::move(returned))) {
    // So that returning a buffer never allocates.
    freeList_->free.reserve(depth_);
}

bool PixelBufferPool::hasFree() {
    const std::lock_guard lock(freeList_->mutex);
    const bool free = freeList_->inUse < depth_;
    freeList_->isAwaited = !free;
    return free;
}

void PixelBufferPool::invalidate(const BlockRegion& changed) {
    for (const auto& buffer : all_)
        buffer->stale.add(changed);
}

std::shared_ptr<PixelBuffer> PixelBufferPool::acquire() {
    std::shared_ptr<PixelBuffer> buffer;
    {
        const std::lock_guard lock(freeList_->mutex);
        if (freeList_->inUse >= depth_) return nullptr;
        auto& free = freeList_->free;
        const auto best = std::min_element(free.begin(), free.end(), [](const auto& a, const auto& b) {
            return a->stale.blockCount() < b->stale.blockCount();
        });
        if (best != free.end()) {
            buffer = std::move(*best);
            free.erase(best);
        }
        ++freeList_->inUse;
    }
    if (!buffer) {
        buffer = std::make_shared<PixelBuffer>(width_, height_);
        all_.push_back(buffer);
    }
    PixelBuffer* const used = buffer.get();
    // The deleter keeps list and buffer alive, and returns the buffer to the list.
    return {used, [list = freeList_, kept = std::move(buffer)](PixelBuffer*) mutable {
                list->putBack(std::move(kept));
            }};
}

}  // namespace lumicrate::pictures
