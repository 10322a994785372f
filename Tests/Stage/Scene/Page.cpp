#include "Tests/Stage/Scene/Page.h"

#include "Tests/Stage/Scene/Font.h"

#include <algorithm>

namespace lumicrate::stage {

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

}  // namespace lumicrate::stage
