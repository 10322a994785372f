// GifBlocks: the bytes of an animated GIF, by giflib.
#pragma once

#include "Linux/Media/Images/FrameQuantizer.h"

#include <cstdint>
#include <exception>
#include <vector>

struct GifFileType;

namespace lumicrate::media {

/// Appends to `bytes`, from which the owner may take whenever no operation is running. One thread at a time.
///
/// All but the destructor throw PlatformError.
class GifBlocks {
 public:
    explicit GifBlocks(std::vector<std::uint8_t>& bytes);
    ~GifBlocks();
    GifBlocks(const GifBlocks&) = delete;
    GifBlocks& operator=(const GifBlocks&) = delete;

    /// Begins a GIF that repeats for ever: at most 65535 pixels each way, of the first frame's palette.
    void begin(int width, int height, const Palette& palette);
    void append(const IndexedFrame& frame, int hundredths);
    /// Nothing can follow.
    void finish();

 private:
    static int write(GifFileType* gif, const unsigned char* bytes, int size) noexcept;
    void check(int result);

    std::vector<std::uint8_t>& bytes_;
    std::exception_ptr failure_;  // of the callback, which must not throw into C
    GifFileType* gif_ = nullptr;
    std::vector<std::uint8_t> indices_;
};

}  // namespace lumicrate::media
