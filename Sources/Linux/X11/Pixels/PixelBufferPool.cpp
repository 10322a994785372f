#include "Linux/X11/Pixels/PixelBufferPool.h"

#include <algorithm>
#include <mutex>
#include <utility>

namespace lumicrate::x11 {

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

/// Where buffers lie while nobody uses them; outlives the pool with the last buffer in use.
struct PixelBufferPool::Shelf {
    explicit Shelf(std::shared_ptr<WakeUp> signal) : returned(std::move(signal)) {}

    void putBack(std::shared_ptr<PixelBuffer> buffer) noexcept {
        bool signal = false;
        {
            const std::lock_guard lock(mutex);
            free.push_back(std::move(buffer));
            --inUse;
            signal = std::exchange(waitedFor, false);
        }
        if (signal) returned->signal();
    }

    std::mutex mutex;
    std::vector<std::shared_ptr<PixelBuffer>> free;
    std::size_t inUse = 0;
    bool waitedFor = false;
    std::shared_ptr<WakeUp> returned;
};

PixelBufferPool::PixelBufferPool(int width, int height, int depth, std::shared_ptr<WakeUp> returned)
    : width_(width),
      height_(height),
      depth_(static_cast<std::size_t>(std::max(depth, 1))),
      shelf_(std::make_shared<Shelf>(std::move(returned))) {
    // So that putting a buffer back never needs memory.
    shelf_->free.reserve(depth_);
}

bool PixelBufferPool::hasFree() {
    const std::lock_guard lock(shelf_->mutex);
    const bool free = shelf_->inUse < depth_;
    shelf_->waitedFor = !free;
    return free;
}

void PixelBufferPool::invalidate(const BlockRegion& changed) {
    for (const auto& buffer : all_)
        buffer->stale.add(changed);
}

std::shared_ptr<PixelBuffer> PixelBufferPool::acquire() {
    std::shared_ptr<PixelBuffer> buffer;
    {
        const std::lock_guard lock(shelf_->mutex);
        if (shelf_->inUse >= depth_) return nullptr;
        auto& free = shelf_->free;
        const auto best = std::min_element(free.begin(), free.end(), [](const auto& a, const auto& b) {
            return a->stale.blockCount() < b->stale.blockCount();
        });
        if (best != free.end()) {
            buffer = std::move(*best);
            free.erase(best);
        }
        ++shelf_->inUse;
    }
    if (!buffer) {
        buffer = std::make_shared<PixelBuffer>(width_, height_);
        all_.push_back(buffer);
    }
    PixelBuffer* const lent = buffer.get();
    // The lease keeps shelf and buffer alive; when it ends the buffer goes back instead of away.
    return {lent, [shelf = shelf_, kept = std::move(buffer)](PixelBuffer*) mutable {
                shelf->putBack(std::move(kept));
            }};
}

}  // namespace lumicrate::x11
