#include "Tests/Stage/Scene/Image.h"

#include "Tests/Stage/Scene/Font.h"

#include <algorithm>
#include <cmath>

namespace lumicrate::stage {

namespace {

Color blend(Color below, Color above, double share) {
    const auto channel = [&](int shift) {
        const auto from = static_cast<double>(below >> shift & 0xff);
        const auto to = static_cast<double>(above >> shift & 0xff);
        return static_cast<Color>(std::lround(from + (to - from) * share)) << shift;
    };
    return channel(16) | channel(8) | channel(0);
}

}  // namespace

Image::Image(int width, int height, Color color)
    : width_(width),
      height_(height),
      pixels_(static_cast<std::size_t>(width) * static_cast<std::size_t>(height), color) {}

void Image::set(int x, int y, Color color) {
    if (x >= 0 && y >= 0 && x < width_ && y < height_) pixels_[index(x, y)] = color;
}

void Image::fill(const Area& area, Color color) {
    const int left = std::clamp(area.x, 0, width_);
    const int right = std::clamp(area.x + area.width, left, width_);
    for (int y = std::max(area.y, 0); y < std::min(area.y + area.height, height_); ++y) {
        std::fill_n(&pixels_[index(0, y)] + left, right - left, color);
    }
}

void Image::disc(double centerX, double centerY, double radius, Color color) {
    for (int y = static_cast<int>(centerY - radius - 1); y <= static_cast<int>(centerY + radius + 1); ++y) {
        for (int x = static_cast<int>(centerX - radius - 1); x <= static_cast<int>(centerX + radius + 1);
             ++x) {
            if (x < 0 || y < 0 || x >= width_ || y >= height_) continue;
            const double distance = std::hypot(x + 0.5 - centerX, y + 0.5 - centerY);
            const double share = std::clamp(radius - distance + 0.5, 0.0, 1.0);
            if (share > 0) pixels_[index(x, y)] = blend(at(x, y), color, share);
        }
    }
}

void Image::text(int x, int y, std::string_view text, Color color, int scale) {
    for (const char character : text) {
        const auto glyph = Font::glyph(character);
        for (int row = 0; row < Font::glyphHeight; ++row) {
            for (int column = 0; column < Font::glyphWidth; ++column) {
                const bool isSet =
                    (glyph[static_cast<std::size_t>(row)] >> (Font::glyphWidth - 1 - column) & 1) != 0;
                if (isSet) fill({x + column * scale, y + row * scale, scale, scale}, color);
            }
        }
        x += Font::advance * scale;
    }
}

void Image::copyFrom(const Image& other, const Area& area) {
    for (int y = std::max(area.y, 0); y < std::min({area.y + area.height, height_, other.height_}); ++y) {
        for (int x = std::max(area.x, 0); x < std::min({area.x + area.width, width_, other.width_}); ++x) {
            pixels_[index(x, y)] = other.at(x, y);
        }
    }
}

}  // namespace lumicrate::stage
