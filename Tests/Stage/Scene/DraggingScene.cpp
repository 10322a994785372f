#include "Tests/Stage/Scene/DraggingScene.h"

#include "Tests/Stage/Scene/Landscape.h"
#include "Tests/Stage/Scene/Page.h"

#include <algorithm>
#include <cmath>

namespace lumicrate::stage {

Area DraggingScene::place(int step, int screenWidth, int screenHeight, int width, int height) {
    // At most 20 pixels a step on a screen of 1920 × 1080, in both directions at different speeds.
    return {static_cast<int>((screenWidth - width) * (0.5 - 0.5 * std::cos(step * 0.031))),
            static_cast<int>((screenHeight - height) * (0.5 - 0.5 * std::cos(step * 0.023))), width, height};
}

void DraggingScene::begin(Canvas& canvas) {
    desktop_ = canvas.store(paintLandscape(canvas.width(), canvas.height(), random_));
    canvas.setBackground(*desktop_);

    const int width = std::min(640, canvas.width() * 2 / 3);
    const int height = std::min(480, canvas.height() * 2 / 3);
    Image contents(width, height);
    drawWindow(contents, {1, 1, width - 2, height - 2}, "Notes", random_);
    window_ = canvas.openWindow(place(0, canvas.width(), canvas.height(), width, height), "Notes");
    contents_ = window_->store(contents);
    // The server paints it, also where the window comes back from behind the screen's edge or another window.
    window_->setBackground(*contents_);
}

void DraggingScene::step(Canvas& canvas, const Step& step) {
    const Area to = place(step.number, canvas.width(), canvas.height(), window_->width(), window_->height());
    window_->moveTo(to.x, to.y);
}

}  // namespace lumicrate::stage
