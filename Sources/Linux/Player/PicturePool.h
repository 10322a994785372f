// SPDX-License-Identifier: GPL-3.0-or-later
// PicturePool: memory for rendered pictures, so that playing allocates nothing.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <mutex>
#include <vector>

namespace lumicrate::player {

/// Any thread.
class PicturePool : public std::enable_shared_from_this<PicturePool> {
 public:
    /// Bytes; libmpv's software renderer is fastest with rows and buffers of this alignment.
    static constexpr std::size_t alignment = 64;

    /// Memory of `size` bytes, a multiple of the alignment. It comes back when its last owner releases it,
    /// and is kept as long as pictures of that size are taken.
    std::shared_ptr<std::uint8_t> take(std::size_t size);

 private:
    struct Free {
        void operator()(std::uint8_t* memory) const { std::free(memory); }
    };
    using Memory = std::unique_ptr<std::uint8_t, Free>;

    void giveBack(Memory memory, std::size_t size);

    std::mutex mutex_;
    std::size_t size_ = 0;
    std::vector<Memory> unused_;  ///< of size_ bytes
};

}  // namespace lumicrate::player
