// Palette: the few colours that pixels are shown in, which libimagequant chooses.
#pragma once

#include "Linux/Media/Images/Color.h"
#include "Linux/Media/Images/ColorList.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

struct liq_result;

namespace lumicrate::media {

class Palette {
 public:
    static constexpr int mostColors = 255;

    /// Of no colours.
    Palette() = default;
    /// At most 255 colours, chosen so that the pixels, at least one, differ from them as little as possible.
    /// Throws PlatformError.
    static Palette choose(const ColorList& wanted);

    const std::vector<Color>& colors() const { return colors_; }
    /// For each colour of the list, at least one, the number of the nearest one here. There must be colours.
    /// Throws PlatformError.
    std::vector<std::uint8_t> match(const ColorList& wanted) const;

 private:
    struct Free {
        void operator()(liq_result* result) const noexcept;
    };

    std::unique_ptr<liq_result, Free> result_;
    std::vector<Color> colors_;
};

}  // namespace lumicrate::media
