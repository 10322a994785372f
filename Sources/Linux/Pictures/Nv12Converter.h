// SPDX-License-Identifier: GPL-3.0-or-later
// Nv12Converter: converts BGRA to bi-planar 4:2:0 (NV12) in BT.709, video range.
//
// Luma is 16 + 219 ⁄ 255 · (0.2126 R + 0.7152 G + 0.0722 B). A chroma pair is computed from the mean of its 2
// × 2 pixels; at odd sizes the last column and row are used twice. Luma deviates by less than 1 from the
// exact value, chroma by its rounding.
#pragma once

#include "Linux/Pictures/BgraPicture.h"

#include <cstdint>

namespace lumicrate::pictures {

/// The planes of a picture; strides in bytes.
struct Nv12Planes {
    std::uint8_t* luma = nullptr;
    int lumaStride = 0;
    std::uint8_t* chroma = nullptr;
    int chromaStride = 0;
};

/// Converts `width` pixels of two rows that share their chroma. The two rows may be identical.
using Nv12Kernel = void (*)(const std::uint32_t* top, const std::uint32_t* bottom, int width,
                            std::uint8_t* lumaTop, std::uint8_t* lumaBottom, std::uint8_t* chroma);

/// The reference kernel. All kernels produce the same bytes.
void convertRowPair(const std::uint32_t* top, const std::uint32_t* bottom, int width, std::uint8_t* lumaTop,
                    std::uint8_t* lumaBottom, std::uint8_t* chroma);
/// The AVX2 kernel; null on a processor without AVX2.
Nv12Kernel avx2Nv12Kernel();
/// The fastest kernel for this processor.
Nv12Kernel fastestNv12Kernel();

/// Converts a part of a picture. `rect` lies inside the picture; its edges are even or the picture's edges.
void convertToNv12(const BgraView& picture, const PixelRect& rect, const Nv12Planes& planes,
                   Nv12Kernel kernel = fastestNv12Kernel());

}  // namespace lumicrate::pictures
