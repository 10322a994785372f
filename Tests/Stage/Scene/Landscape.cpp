#include "Tests/Stage/Scene/Landscape.h"

#include <algorithm>
#include <cmath>

namespace lumicrate::stage {

namespace {

// How far the camera goes from the middle, in pixels.
constexpr int reachX = 400;
constexpr int reachY = 250;

int shade(double value) {
    return std::clamp(static_cast<int>(value), 0, 255);
}

}  // namespace

Image paintLandscape(int viewWidth, int viewHeight, Random& random) {
    const int width = viewWidth + 2 * reachX;
    const int height = viewHeight + 2 * reachY;
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

Area cameraView(int step, int viewWidth, int viewHeight) {
    const double turn = step * 0.021;
    return {reachX + static_cast<int>(reachX * std::sin(turn)),
            reachY + static_cast<int>(reachY * std::sin(turn * 1.37 + 0.8)), viewWidth, viewHeight};
}

}  // namespace lumicrate::stage
