// SPDX-License-Identifier: GPL-3.0-or-later
// RecycledMemory: memory for pictures of one size that is used again when a picture is released.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <new>
#include <utility>
#include <vector>

namespace lumicrate::media {

/// take() belongs to one thread; the memory may be released on any thread, also after the pool is gone.
class RecycledMemory {
 public:
    using Block = std::shared_ptr<std::uint8_t>;

    /// `size` bytes of undefined content, aligned for vectors.
    Block take(std::size_t size) {
        const std::lock_guard lock(unused_->mutex);
        if (std::exchange(unused_->size, size) != size) unused_->blocks.clear();
        if (unused_->blocks.empty()) return share(allocate(size), size);
        Owned block = std::move(unused_->blocks.back());
        unused_->blocks.pop_back();
        return share(std::move(block), size);
    }

 private:
    static constexpr std::align_val_t alignment{64};
    struct Free {
        void operator()(std::uint8_t* bytes) const { operator delete(bytes, alignment); }
    };
    using Owned = std::unique_ptr<std::uint8_t, Free>;
    struct Unused {
        std::mutex mutex;
        std::size_t size = 0;
        std::vector<Owned> blocks;
    };
    static constexpr std::size_t maxUnused = 4;

    static Owned allocate(std::size_t size) {
        return Owned(static_cast<std::uint8_t*>(operator new(size, alignment)));
    }
    Block share(Owned block, std::size_t size) {
        // So that returning a block never allocates.
        unused_->blocks.reserve(maxUnused);
        return {block.release(), [unused = unused_, size](std::uint8_t* bytes) {
                    Owned returned(bytes);
                    const std::lock_guard lock(unused->mutex);
                    if (size == unused->size && unused->blocks.size() < maxUnused)
                        unused->blocks.push_back(std::move(returned));
                }};
    }

    std::shared_ptr<Unused> unused_ = std::make_shared<Unused>();
};

}  // namespace lumicrate::media
