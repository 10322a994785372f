// The whole-number coefficients that every BGRA to NV12 kernel shares.
#pragma once

#include <cstdint>

namespace lumicrate::x11::nv12 {

// Luma in 1 ⁄ 256: 219 ⁄ 255 · 256 times the BT.709 weights, rounded.
inline constexpr int lumaBlue = 16;
inline constexpr int lumaGreen = 157;
inline constexpr int lumaRed = 47;
inline constexpr int lumaSum = lumaBlue + lumaGreen + lumaRed;
inline constexpr int lumaShift = 8;
/// 16 and the half that makes the shift round, less half of what rounding the weights added to white.
inline constexpr int lumaOffset = (16 << lumaShift) + (1 << (lumaShift - 1)) - 18;

// Chroma in 1 ⁄ 32768, for sums of four pixels. Each three sum to nothing: grey has no colour.
inline constexpr int cbBlue = 14392;
inline constexpr int cbGreen = -11094;
inline constexpr int cbRed = -3298;
inline constexpr int crBlue = -1320;
inline constexpr int crGreen = -13072;
inline constexpr int crRed = 14392;
inline constexpr int chromaShift = 17;
inline constexpr int chromaOffset = (128 << chromaShift) + (1 << (chromaShift - 1));

static_assert(cbBlue + cbGreen + cbRed == 0 && crBlue + crGreen + crRed == 0);

}  // namespace lumicrate::x11::nv12
