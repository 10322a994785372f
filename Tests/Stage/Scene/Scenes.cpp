// SPDX-License-Identifier: GPL-3.0-or-later
#include "Tests/Stage/Scene/Beeper.h"
#include "Tests/Stage/Scene/Scene.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <utility>
#include <vector>

namespace lumicrate::stage {

namespace {

/// A camera pans over a landscape while some pieces of it move on their own: every pixel changes.
Scene moving(Surface& canvas, Random random) {
    const auto landscape = canvas.store(paintLandscape(canvas.width(), canvas.height(), random));
    canvas.setBackground(landscape);
    return {.step = [&canvas, landscape](const Step& step) {
        canvas.copy(landscape, cameraView(step.number, canvas.width(), canvas.height()), 0, 0);
        for (int i = 0; i < 6; ++i) {
            const int width = 120 + 30 * i;
            const int height = 100 + 20 * i;
            const double phase = step.number * (0.013 + 0.006 * i) + i;
            const int x = static_cast<int>((canvas.width() - width) * (0.5 + 0.5 * std::sin(phase)));
            const int y =
                static_cast<int>((canvas.height() - height) * (0.5 + 0.5 * std::cos(phase * 0.8 + i)));
            canvas.copy(landscape, {100 * i, 60 * i, width, height}, x, y);
        }
    }};
}

/// Rectangles of any size appear anywhere at any moment.
Scene rectangles(Surface& canvas, Random seeded) {
    const auto random = std::make_shared<Random>(seeded);
    return {.step =
                [&canvas, random](const Step&) {
                    // Mostly small, sometimes nearly everything.
                    const int share = random->below(8) == 0 ? 1 : 8;
                    const int width = 1 + random->below(canvas.width() / share);
                    const int height = 1 + random->below(canvas.height() / share);
                    const int x = random->below(canvas.width() - width + 1);
                    const int y = random->below(canvas.height() - height + 1);
                    canvas.fill({x, y, width, height},
                                color(random->below(256), random->below(256), random->below(256)));
                },
            .interval = [random](double rate) { return 2 * random->below(1000) / 1000.0 / rate; }};
}

/// Every second the picture turns from black to white for a fifth of a second while a tone sounds. Both are
/// planned for the same instant. Each flash prints "flash PLANNED DRAWN" in seconds of CLOCK_MONOTONIC; the
/// second is when the X server had drawn it, which comes later on a busy machine.
Scene flash(Surface& canvas, Random) {
    // In steps, of which there are ten a second.
    constexpr int period = 10;
    // The tone is planned this long before the flash, so that sound already under way ends before it.
    constexpr int ahead = 3;
    constexpr Nanoseconds stepLength = nanoseconds(0.1);
    constexpr int lit = Beeper::toneLength / stepLength;
    const auto beeper = std::make_shared<Beeper>();
    const auto fill = [&canvas](Color color) { canvas.fill({0, 0, canvas.width(), canvas.height()}, color); };
    fill(0x000000);
    return {.rate = 10, .step = [=, &canvas](const Step& step) {
                const int phase = step.number % period;
                if (phase == period - ahead) beeper->beep(step.due + ahead * stepLength);
                if (step.number < period) return;
                if (phase == 0) {
                    fill(0xffffff);
                    canvas.sync();
                    std::printf("flash %.6f %.6f\n", seconds(step.due), seconds(now()));
                    std::fflush(stdout);
                } else if (phase == lit) {
                    fill(0x000000);
                }
            }};
}

/// Discs drift over an evening sky.
Scene demo(Surface& canvas, Random random) {
    struct Disc {
        double radius;
        double phase;
        double speed;
        Color color;
    };
    const int width = canvas.width();
    const int height = canvas.height();
    Image sky(width, height);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x)
            sky.set(x, y, color(24 + 90 * y / height, 20 + 40 * x / width, 60 + 40 * y / height));
    }
    for (int i = 0; i < 90; ++i)
        sky.disc(random.below(width), random.below(height), 1 + random.below(2), 0xc0bfe0);
    canvas.setBackground(canvas.store(sky));
    std::vector<Disc> discs;
    for (const Color tint : {0xf6d32d, 0xff7800, 0xe01b24, 0x9141ac, 0x3584e4, 0x33d17a, 0xffffff})
        discs.push_back(
            {18.0 + random.below(44), random.below(628) / 100.0, 0.5 + random.below(100) / 100.0, tint});
    const auto draw = [=, &canvas, picture = sky, painted = std::vector<Area>()](const Step& step) mutable {
        // What the latest step painted is erased, and sent together with what this one paints.
        std::vector<Area> changed = std::exchange(painted, {});
        for (const Area& area : changed)
            picture.copyFrom(sky, area, area.x, area.y);
        for (const auto& [radius, phase, speed, tint] : discs) {
            const double angle = phase + speed * step.seconds;
            const double x = width * (0.5 + 0.42 * std::sin(angle));
            const double y = height * (0.5 + 0.38 * std::cos(angle * 1.3 + phase));
            const int reach = static_cast<int>(radius) + 3;
            picture.disc(x, y, radius, tint);
            painted.push_back(picture.clipped(
                {static_cast<int>(x) - reach, static_cast<int>(y) - reach, 2 * reach + 1, 2 * reach + 1}));
        }
        changed.insert(changed.end(), painted.begin(), painted.end());
        for (const Area& area : changed)
            canvas.put(picture, area, area.x, area.y);
    };
    return {.step = draw};
}

}  // namespace

const SceneMakers& basicScenes() {
    static const SceneMakers makers{
        {"demo", demo}, {"flash", flash}, {"moving", moving}, {"random", rectangles}};
    return makers;
}

}  // namespace lumicrate::stage
