// Nv12Converter: from the screen's blue, green, red to bi-planar 4:2:0 in BT.709, video range.
//
// Luma is 16 + 219 ⁄ 255 · (0.2126 R + 0.7152 G + 0.0722 B); a chroma pair is computed from the mean of its
// 2 × 2 pixels, where the last column and row stand in for what an odd size lacks. Luma is exact to one step,
// chroma to its rounding.
#pragma once

#include "Linux/X11/Pixels/BgraPicture.h"

#include <cstdint>

namespace lumicrate::x11 {

/// The planes of a whole picture; strides in bytes.
struct Nv12Planes {
    std::uint8_t* luma = nullptr;
    int lumaStride = 0;
    std::uint8_t* chroma = nullptr;
    int chromaStride = 0;
};

/// Converts `width` pixels of two rows that share their chroma. The two rows may be one and the same.
using Nv12Kernel = void (*)(const std::uint32_t* top, const std::uint32_t* bottom, int width,
                            std::uint8_t* lumaTop, std::uint8_t* lumaBottom, std::uint8_t* chroma);

/// The reference. All kernels give the same bytes.
void convertRowPair(const std::uint32_t* top, const std::uint32_t* bottom, int width, std::uint8_t* lumaTop,
                    std::uint8_t* lumaBottom, std::uint8_t* chroma);
/// The kernel for processors with AVX2; none when this one has no such instructions.
Nv12Kernel avx2Nv12Kernel();
/// The fastest that this processor can run.
Nv12Kernel fastestNv12Kernel();

/// Converts a part of a picture. `rect` lies inside the picture; its edges are even, or the picture's own.
void convertToNv12(const BgraView& picture, const PixelRect& rect, const Nv12Planes& planes,
                   Nv12Kernel kernel = fastestNv12Kernel());

}  // namespace lumicrate::x11
