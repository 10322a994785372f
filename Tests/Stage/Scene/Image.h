// Image: a picture drawn in memory, identical on every machine, with a font of its own.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

namespace lumicrate::stage {

/// 0xRRGGBB
using Color = std::uint32_t;

constexpr Color color(int red, int green, int blue) {
    return static_cast<Color>(red) << 16 | static_cast<Color>(green) << 8 | static_cast<Color>(blue);
}

/// Pixels from the top-left corner.
struct Area {
    int x = 0;
    int y = 0;
    int width = 0;
    int height = 0;
};

/// Five by seven dots a glyph: digits, ASCII letters and some punctuation.
struct Font {
    static constexpr int glyphWidth = 5;
    static constexpr int glyphHeight = 7;
    /// From one glyph, or line, to the next.
    static constexpr int advance = 6;
    static constexpr int lineHeight = 9;
};

class Image {
 public:
    Image(int width, int height, Color color = 0);

    int width() const { return width_; }
    int height() const { return height_; }
    const std::uint32_t* row(int y) const { return &pixels_[index(0, y)]; }

    // All drawing is clipped to the image.
    void set(int x, int y, Color color);
    Color at(int x, int y) const { return pixels_[index(x, y)]; }
    void fill(const Area& area, Color color);
    /// With a smooth edge.
    void disc(double centerX, double centerY, double radius, Color color);
    /// From the top-left corner of the first glyph; each dot becomes `scale` × `scale` pixels.
    void text(int x, int y, std::string_view text, Color color, int scale = 2);
    void copyFrom(const Image& other, const Area& area);

 private:
    std::size_t index(int x, int y) const {
        return static_cast<std::size_t>(y) * static_cast<std::size_t>(width_) + static_cast<std::size_t>(x);
    }

    int width_;
    int height_;
    std::vector<std::uint32_t> pixels_;
};

}  // namespace lumicrate::stage
