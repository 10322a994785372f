#include "Tests/Stage/Scene/ScrollingScene.h"

#include "Tests/Stage/Scene/Page.h"

namespace lumicrate::stage {

namespace {

constexpr int barHeight = 64;
constexpr int margin = 80;
constexpr int pixelsPerStep = 20;

}  // namespace

void ScrollingScene::begin(Canvas& canvas) {
    Image bar(canvas.width(), barHeight, 0xdeddda);
    bar.text(300, 24, "File   Edit   View   Help", 0x241f31);
    const auto storedBar = canvas.store(bar);
    canvas.copy(*storedBar, {0, 0, bar.width(), bar.height()}, 0, 0);

    const int view = canvas.height() - barHeight;
    pageHeight_ = 2 * view;
    page_ = canvas.store(longPage(canvas.width(), view, margin, random_));
    canvas.copy(*page_, {0, 0, canvas.width(), view}, 0, barHeight);
}

void ScrollingScene::step(Canvas& canvas, const Step& step) {
    const int top = (step.number + 1) * pixelsPerStep % pageHeight_;
    canvas.copy(*page_, {0, top, canvas.width(), canvas.height() - barHeight}, 0, barHeight);
}

}  // namespace lumicrate::stage
