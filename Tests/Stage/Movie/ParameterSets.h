// What sequence parameter sets of H.264 and HEVC say of the pictures.
#pragma once

#include "Tests/Stage/Movie/Bytes.h"

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

namespace lumicrate::stage {

struct PictureFormat {
    int width = 0;  // of what is shown
    int height = 0;
    std::uint32_t chromaFormat = 1;
    std::uint32_t lumaDepth = 8;
    std::uint32_t chromaDepth = 8;
    // Primaries, transfer and matrix where they are told.
    std::optional<std::array<std::uint32_t, 3>> colors;
    std::optional<bool> isFullRange;
};

// `nal` is the whole unit with its header, without start code. Throws EndOfBytes.
PictureFormat readAvcSequence(ByteSpan nal);
// The same for HEVC, without colours.
PictureFormat readHevcSequence(ByteSpan nal);

// The payload without the bytes that keep start codes from arising.
std::vector<std::uint8_t> unescaped(ByteSpan nal);

}  // namespace lumicrate::stage
