// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Player/PicturePool.h"

#include <new>
#include <utility>

namespace lumicrate::player {

std::shared_ptr<std::uint8_t> PicturePool::take(std::size_t size) {
    Memory memory;
    {
        const std::lock_guard lock(mutex_);
        if (std::exchange(size_, size) != size) unused_.clear();
        if (!unused_.empty()) {
            memory = std::move(unused_.back());
            unused_.pop_back();
        }
    }
    if (!memory) memory.reset(static_cast<std::uint8_t*>(std::aligned_alloc(alignment, size)));
    if (!memory) throw std::bad_alloc();
    return {memory.release(), [pool = shared_from_this(), size](std::uint8_t* released) {
                pool->giveBack(Memory(released), size);
            }};
}

void PicturePool::giveBack(Memory memory, std::size_t size) {
    const std::lock_guard lock(mutex_);
    if (size == size_) unused_.push_back(std::move(memory));
}

}  // namespace lumicrate::player
