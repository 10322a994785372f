// SPDX-License-Identifier: GPL-3.0-or-later
// Random: the same numbers from the same seed with every compiler and library.
#pragma once

#include <cstdint>

namespace lumicrate::stage {

class Random {
 public:
    explicit Random(std::uint64_t seed) : state_(seed * 2 + 1) {}

    /// 0 … bound − 1
    int below(int bound) {
        // xorshift64*
        state_ ^= state_ >> 12;
        state_ ^= state_ << 25;
        state_ ^= state_ >> 27;
        return static_cast<int>((state_ * 0x2545F4914F6CDD1DULL >> 33) % static_cast<std::uint64_t>(bound));
    }

 private:
    std::uint64_t state_;
};

}  // namespace lumicrate::stage
