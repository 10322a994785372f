// SPDX-License-Identifier: GPL-3.0-or-later
// GifBlocks: encodes an animated GIF with giflib.
#pragma once

#include "Linux/Media/Images/FrameQuantizer.h"

#include <cstdint>
#include <exception>
#include <vector>

struct GifFileType;

namespace lumicrate::media {

/// Appends to `bytes`, which the owner may empty between calls. One thread at a time. Throws PlatformError.
class GifBlocks {
 public:
    explicit GifBlocks(std::vector<std::uint8_t>& bytes);
    ~GifBlocks();
    GifBlocks(const GifBlocks&) = delete;
    GifBlocks& operator=(const GifBlocks&) = delete;

    /// A GIF that loops forever, with the first frame's palette. At most 65535 pixels in each direction.
    void begin(int width, int height, const Palette& palette);
    void append(const IndexedFrame& frame, int hundredths);
    /// Nothing may be appended after that.
    void finish();

 private:
    static int write(GifFileType* gif, const unsigned char* bytes, int size) noexcept;
    void check(int result);

    std::vector<std::uint8_t>& bytes_;
    std::exception_ptr failure_;  // from the callback, which must not throw into C
    GifFileType* gif_ = nullptr;
    std::vector<std::uint8_t> indices_;
};

}  // namespace lumicrate::media
