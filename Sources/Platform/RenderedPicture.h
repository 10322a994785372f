// SPDX-License-Identifier: GPL-3.0-or-later
// RenderedPicture: a picture in memory that is ready for the screen.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

namespace lumicrate {

/// 32 bits per pixel in the order blue, green, red, unused; top row first. The pixels are immutable, and
/// shared by copies.
struct RenderedPicture {
    int width = 0;
    int height = 0;
    std::size_t bytesPerRow = 0;
    std::shared_ptr<const std::uint8_t> pixels;
};

}  // namespace lumicrate
