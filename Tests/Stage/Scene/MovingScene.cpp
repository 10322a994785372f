#include "Tests/Stage/Scene/MovingScene.h"

#include "Tests/Stage/Scene/Landscape.h"

#include <cmath>

namespace lumicrate::stage {

namespace {

constexpr int movers = 6;

}  // namespace

void MovingScene::begin(Canvas& canvas) {
    landscape_ = canvas.store(paintLandscape(canvas.width(), canvas.height(), random_));
    MovingScene::step(canvas, Step{});
}

void MovingScene::step(Canvas& canvas, const Step& step) {
    canvas.copy(*landscape_, cameraView(step.number, canvas.width(), canvas.height()), 0, 0);
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
