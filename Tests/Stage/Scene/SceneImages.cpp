#include "Tests/Stage/Scene/SceneImages.h"

#include <algorithm>
#include <cmath>

namespace lumicrate::stage {

namespace {

/// How far the camera moves from the middle, in pixels.
constexpr int reachX = 400;
constexpr int reachY = 250;

int shade(double value) {
    return std::clamp(static_cast<int>(value), 0, 255);
}

}  // namespace

void drawText(Image& image, const Area& area, Color ink, Random& random) {
    constexpr int scale = 2;
    constexpr int lineHeight = Font::lineHeight * scale;
    const int columns = area.width / (Font::advance * scale);
    for (int y = area.y; y + lineHeight <= area.y + area.height; y += lineHeight) {
        const int kind = random.below(12);
        if (kind == 0) continue;
        const int length = kind == 1 ? columns / 3 : columns - random.below(std::max(columns / 4, 1));
        image.text(area.x, y, random.words(std::max(length, 1)), kind == 1 ? 0x1a5fb4 : ink, scale);
    }
}

void drawWindow(Image& image, const Area& area, const char* title, Random& random) {
    constexpr int titleHeight = 30;
    image.fill({area.x - 1, area.y - 1, area.width + 2, area.height + 2}, 0x5e5c64);
    image.fill({area.x, area.y, area.width, titleHeight}, 0xdeddda);
    image.text(area.x + 12, area.y + 8, title, 0x241f31);
    image.disc(area.x + area.width - 18, area.y + titleHeight / 2.0, 8, 0xc01c28);
    image.disc(area.x + area.width - 42, area.y + titleHeight / 2.0, 8, 0x9a9996);
    const Area inside{area.x, area.y + titleHeight, area.width, area.height - titleHeight};
    image.fill(inside, 0xffffff);
    drawText(image, {inside.x + 14, inside.y + 14, inside.width - 28, inside.height - 28}, 0x241f31, random);
}

void drawDesktop(Image& image) {
    constexpr int barHeight = 36;
    const int width = image.width();
    const int height = image.height();
    for (int y = 0; y < height; ++y) {
        image.fill({0, y, width, 1},
                   color(30 + 40 * y / height, 60 + 50 * y / height, 110 + 60 * y / height));
    }
    image.fill({0, height - barHeight, width, barHeight}, 0x241f31);
    image.text(16, height - 25, "Places   Programs   Windows", 0xffffff);
    image.text(width - 90, height - 25, "10:42", 0xffffff);
}

Image longPage(int width, int view, int margin, Random& random) {
    const int length = 2 * view;
    Image page(width, length + view, 0xffffff);
    drawText(page, {margin, 0, width - 2 * margin, length}, 0x202020, random);
    for (int y = 0; y < view; ++y) {
        for (int x = 0; x < width; ++x) {
            page.set(x, length + y, page.at(x, y));
        }
    }
    return page;
}

Image paintLandscape(int viewWidth, int viewHeight, Random& random) {
    const int width = viewWidth + 2 * reachX;
    const int height = viewHeight + 2 * reachY;
    Image image(width, height);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            // Soft light, and a fine texture as foliage or cloth has.
            const double light = 110 + 50 * std::sin(x * 0.0031 + 1.3 * std::sin(y * 0.0043));
            const double weave = 14 * std::sin(x * 0.21 + y * 0.05) * std::sin(y * 0.17 - x * 0.03);
            image.set(x, y,
                      color(shade(light + weave + 40 * std::sin(y * 0.0052)), shade(light * 0.9 + weave),
                            shade(200 - light * 0.6 + weave)));
        }
    }
    for (int i = 0; i < 160; ++i) {
        const Color tint = color(random.below(256), random.below(256), random.below(256));
        const int x = random.below(width);
        const int y = random.below(height);
        if (random.below(2) == 0) {
            image.disc(x, y, 12 + random.below(70), tint);
        } else {
            image.fill({x, y, 20 + random.below(140), 20 + random.below(100)}, tint);
        }
    }
    return image;
}

Area cameraView(int step, int viewWidth, int viewHeight) {
    const double turn = step * 0.021;
    return {reachX + static_cast<int>(reachX * std::sin(turn)),
            reachY + static_cast<int>(reachY * std::sin(turn * 1.37 + 0.8)), viewWidth, viewHeight};
}

}  // namespace lumicrate::stage
