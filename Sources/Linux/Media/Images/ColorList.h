// ColorList: the colours of many pixels, so that what is done with a colour is done once and not for each
// pixel.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace lumicrate::media {

/// Colours that differ in the lowest bit of a channel only count as one, the first of them. Seldom one is
/// there twice, which does no harm but costs time. One thread at a time.
class ColorList {
 public:
    /// Red, green, blue and 255.
    using Rgba = std::array<std::uint8_t, 4>;

    ColorList() { clear(); }

    void clear();
    /// Gives the number of the pixel's colour in this list.
    std::uint32_t add(const std::uint8_t* rgb) {
        // A step in a channel is not seen, but a picture takes an eighth more bytes with it.
        constexpr std::uint32_t seen = 0xfefefe;
        const std::uint32_t key = (std::uint32_t{rgb[0]} << 16 | std::uint32_t{rgb[1]} << 8 | rgb[2]) & seen;
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
    /// How many of the pixels have the colour of each number.
    const std::vector<std::uint32_t>& pixels() const { return pixels_; }

 private:
    static constexpr int placeBits = 15;
    static constexpr std::uint32_t noKey = ~std::uint32_t{0};

    struct Place {
        std::uint32_t key = noKey;
        std::uint32_t color = 0;
    };

    // By hash; a colour that comes later takes the place of another.
    std::vector<Place> places_;
    std::vector<Rgba> colors_;
    std::vector<std::uint32_t> pixels_;
};

}  // namespace lumicrate::media
