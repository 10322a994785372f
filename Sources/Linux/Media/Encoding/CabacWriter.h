// SPDX-License-Identifier: GPL-3.0-or-later
// CabacWriter: the arithmetic coder of HEVC (ITU-T H.265, 9.3).
#pragma once

#include "Linux/Media/Encoding/BitStream.h"

#include <cstdint>
#include <span>
#include <vector>

namespace lumicrate::media {

class CabacWriter {
 public:
    /// Begins a slice at a whole byte of `output`, which must outlive it. There is one context for each
    /// initial value of the standard's tables.
    void begin(BitWriter& output, std::span<const std::uint8_t> initialValues, int quantizer);
    /// Codes a bin with an adaptive context.
    void bin(std::size_t context, bool value);
    /// Codes `count` bins of even probability, the most significant one first.
    void bypass(std::uint32_t value, int count);
    /// Codes whether the slice ends here. After the end, the output is aligned and complete.
    void end(bool value);

 private:
    struct Context {
        std::uint8_t state;
        bool likely;
    };
    void renormalize();
    void put(bool bit);

    BitWriter* output_ = nullptr;
    std::vector<Context> contexts_;
    std::uint32_t low_ = 0;
    std::uint32_t range_ = 0;
    int outstanding_ = 0;  ///< bits whose value depends on a carry that may still come
    bool isFirst_ = true;
};

}  // namespace lumicrate::media
