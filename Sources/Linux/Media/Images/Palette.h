// SPDX-License-Identifier: GPL-3.0-or-later
// Palette: the colours of a GIF frame, chosen by libimagequant.
#pragma once

#include "Linux/Media/Images/ColorList.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

struct liq_result;

namespace lumicrate::media {

class Palette {
 public:
    static constexpr int maxColors = 255;

    /// Without colours.
    Palette() = default;
    /// At most maxColors colours, with the least difference to the pixels, of which there must be one. Throws
    /// PlatformError.
    static Palette choose(const ColorList& list);

    const std::vector<Color>& colors() const { return colors_; }
    /// The index of the nearest colour for each colour of the list. Neither may be empty. Throws
    /// PlatformError.
    std::vector<std::uint8_t> match(const ColorList& list) const;

 private:
    struct Free {
        void operator()(liq_result* result) const noexcept;
    };

    std::unique_ptr<liq_result, Free> result_;
    std::vector<Color> colors_;
};

}  // namespace lumicrate::media
