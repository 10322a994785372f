// SPDX-License-Identifier: GPL-3.0-or-later
#include "Benchmarks/ScrollingViews.h"

#include "Benchmarks/DesktopImages.h"

#include <utility>

namespace lumicrate::bench {

namespace {

using stage::Area;
using stage::Image;
using stage::Random;

/// A page of text under a tool bar.
ScrollingView reader(int width, int height, Random& random) {
    constexpr int barHeight = 64;
    constexpr int margin = 80;
    Image frame(width, height, 0xdeddda);
    drawLine(frame, 300, 24, "File   Edit   View   Help", 0x241f31);
    const Area view{0, barHeight, width, height - barHeight};
    return {std::move(frame), longPage(width, view.height, margin, random), view, 20};
}

/// Small text all over the screen.
ScrollingView dense(int width, int height, Random& random) {
    const Area view{0, 0, width, height};
    Image page = loopedPage(view.width, view.height, 0xffffff, [&](Image& image) {
        for (int y = 0; y + Font::lineHeight <= image.height(); y += Font::lineHeight)
            drawLine(image, 4, y, randomWords(random, width / Font::advance), 0x202020, 1);
    });
    return {Image(width, height), std::move(page), view, 5 * Font::lineHeight};
}

/// Paragraphs beside pictures.
ScrollingView web(int width, int height, Random& random) {
    const Area view{0, 0, width, height};
    const Image landscape = stage::paintLandscape(width, height, random);
    Image page = loopedPage(view.width, view.height, 0xf6f5f4, [&](Image& image) {
        const int section = height / 3;
        const int column = width / 2;
        for (int top = 0; top + section <= image.height(); top += section) {
            drawText(image, {width / 8, top + 20, column - width / 6, section - 40}, 0x241f31, random);
            const int shift = random.below(height / 2);
            for (int y = top + 20; y < top + section - 20; ++y)
                for (int x = column; x < column + width / 3; ++x)
                    image.set(x, y, landscape.at(x - column, shift + y - top));
        }
    });
    return {Image(width, height), std::move(page), view, 53};
}

/// Lines of output on a dark ground, three at a time.
ScrollingView terminal(int width, int height, Random& random) {
    constexpr int lineHeight = 2 * Font::lineHeight;
    const Area view{0, 0, width, height / lineHeight * lineHeight};
    Image page = loopedPage(view.width, view.height, 0x1e1e1e, [&](Image& image) {
        for (int y = 0; y < image.height(); y += lineHeight) {
            const int columns = 20 + random.below(width / (2 * Font::advance) - 20);
            drawLine(image, 4, y, randomWords(random, columns), random.below(4) == 0 ? 0x33d17a : 0xdeddda);
        }
    });
    return {Image(width, height, 0x1e1e1e), std::move(page), view, 3 * lineHeight};
}

/// Code between a side bar, an overview and a status bar that stay.
ScrollingView editor(int width, int height, Random& random) {
    constexpr int barHeight = 28;
    Image frame(width, height, 0xdeddda);
    drawText(frame, {10, 10, width / 6, height - barHeight - 20}, 0x241f31, random);
    drawLine(frame, 10, height - barHeight + 7, "main   Line 210, Column 14   UTF-8", 0x241f31);
    const Area view{width / 6 + 20, 0, width * 3 / 4 - 20, height - barHeight};
    Image page = loopedPage(view.width, view.height, 0xfafafa, [&](Image& image) {
        constexpr int lineHeight = 2 * Font::lineHeight;
        for (int y = 0; y < image.height(); y += lineHeight) {
            const int indent = 48 * random.below(5);
            drawLine(image, 60 + indent, y, randomWords(random, 10 + random.below(70)),
                     random.below(5) == 0 ? 0x1a5fb4 : 0x202020);
        }
    });
    return {std::move(frame), std::move(page), view, 36};
}

}  // namespace

Area ScrollingView::visible(int steps) const {
    return {0, steps * pixelsPerStep % (2 * view.height), view.width, view.height};
}

const ScrollingViewMakers& scrollingViews() {
    static const ScrollingViewMakers makers{
        {"scrolling", reader}, {"dense", dense}, {"web", web}, {"terminal", terminal}, {"editor", editor}};
    return makers;
}

}  // namespace lumicrate::bench
