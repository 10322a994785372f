// SPDX-License-Identifier: GPL-3.0-or-later
// Palette: the colours of a GIF frame, chosen by libimagequant; ColorList: the distinct colours of many
// pixels, so that work on colours is done once per colour.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

struct liq_result;

namespace lumicrate::media {

/// Red, green and blue, 0 … 255.
using Color = std::array<int, 3>;

inline Color colorAt(const std::uint8_t* rgb) {
    return {rgb[0], rgb[1], rgb[2]};
}

/// The visible difference of two colours: squared differences, each channel weighted by its part in luma.
inline int difference(const Color& one, const Color& other) {
    const int red = one[0] - other[0];
    const int green = one[1] - other[1];
    const int blue = one[2] - other[2];
    return 2 * red * red + 4 * green * green + blue * blue;
}

/// Colours that differ only in the lowest bit of a channel count as one: the first of them. A colour may
/// rarely be in the list twice, which costs time only. One thread at a time.
class ColorList {
 public:
    /// Red, green, blue and 255.
    using Rgba = std::array<std::uint8_t, 4>;

    ColorList() { clear(); }

    void clear() {
        places_.assign(std::size_t{1} << placeBits, {});
        colors_.clear();
        pixels_.clear();
    }
    /// Returns the number of the pixel's colour in this list.
    std::uint32_t add(const std::uint8_t* rgb) {
        // The lowest bit is invisible, but keeping it makes a picture an eighth larger.
        constexpr std::uint32_t visible = 0xfefefe;
        const std::uint32_t key =
            (std::uint32_t{rgb[0]} << 16 | std::uint32_t{rgb[1]} << 8 | rgb[2]) & visible;
        constexpr std::uint32_t spread = 0x9E3779B1;
        Place& place = places_[key * spread >> (32 - placeBits)];
        if (place.key != key) {
            place = {key, static_cast<std::uint32_t>(colors_.size())};
            colors_.push_back({rgb[0], rgb[1], rgb[2], 255});
            pixels_.push_back(0);
        }
        ++pixels_[place.color];
        return place.color;
    }

    const std::vector<Rgba>& colors() const { return colors_; }
    /// The number of pixels of each colour.
    const std::vector<std::uint32_t>& pixels() const { return pixels_; }

 private:
    static constexpr int placeBits = 15;
    static constexpr std::uint32_t noKey = ~std::uint32_t{0};

    struct Place {
        std::uint32_t key = noKey;
        std::uint32_t color = 0;
    };

    // A hash table in which a later colour replaces one with the same hash.
    std::vector<Place> places_;
    std::vector<Rgba> colors_;
    std::vector<std::uint32_t> pixels_;
};

class Palette {
 public:
    static constexpr int maxColors = 255;

    /// Without colours.
    Palette() = default;
    /// At most `colors` colours, 2 … maxColors, with the least difference to the pixels, of which there must
    /// be one. Throws PlatformError.
    static Palette choose(const ColorList& list, int colors = maxColors);

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
