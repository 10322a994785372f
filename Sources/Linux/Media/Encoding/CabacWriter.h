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
    void shift(int count, std::uint64_t value = 0);
    void carry();

    BitWriter* output_ = nullptr;
    std::vector<Context> contexts_;
    std::vector<std::uint8_t> bytes_;  ///< of the slice; a carry may still change them
    std::uint64_t low_ = 0;            ///< the interval's nine bits and those above that are not in bytes_
    std::uint32_t range_ = 0;
    int held_ = 0;  ///< how many those above are
};

}  // namespace lumicrate::media
