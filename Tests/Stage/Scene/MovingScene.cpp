#include "Tests/Stage/Scene/MovingScene.h"

#include <algorithm>
#include <cmath>

namespace lumicrate::stage {

namespace {

// How far the camera goes from the middle, in pixels.
constexpr int reachX = 400;
constexpr int reachY = 250;
constexpr int movers = 6;

int shade(double value) {
    return std::clamp(static_cast<int>(value), 0, 255);
}

Image paintLandscape(int width, int height, Random& random) {
    Image image(width, height);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            // Broad light, and a fine weave of the kind that foliage or cloth has.
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

}  // namespace

void MovingScene::begin(Canvas& canvas) {
    landscape_ =
        canvas.store(paintLandscape(canvas.width() + 2 * reachX, canvas.height() + 2 * reachY, random_));
    MovingScene::step(canvas, Step{});
}

void MovingScene::step(Canvas& canvas, const Step& step) {
    const double turn = step.number * 0.021;
    const int left = reachX + static_cast<int>(reachX * std::sin(turn));
    const int top = reachY + static_cast<int>(reachY * std::sin(turn * 1.37 + 0.8));
    canvas.copy(*landscape_, {left, top, canvas.width(), canvas.height()}, 0, 0);
    for (int i = 0; i < movers; ++i) {
        const int width = 120 + 30 * i;
        const int height = 100 + 20 * i;
        const double phase = step.number * (0.013 + 0.006 * i) + i;
        const int x = static_cast<int>((canvas.width() - width) * (0.5 + 0.5 * std::sin(phase)));
        const int y = static_cast<int>((canvas.height() - height) * (0.5 + 0.5 * std::cos(phase * 0.8 + i)));
        canvas.copy(*landscape_, {100 * i, 60 * i, width, height}, x, y);
    }
}

}  // namespace lumicrate::stage
