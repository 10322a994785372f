#include "Tests/Stage/Scene/TypingScene.h"

#include "Tests/Stage/Scene/Page.h"

namespace lumicrate::stage {

namespace {

constexpr int margin = 60;
constexpr Color paper = 0xfafafa;

}  // namespace

void TypingScene::begin(Canvas& canvas) {
    const int width = canvas.width() - 2 * margin;
    const int height = canvas.height() / 2 - margin;
    Image image(canvas.width(), canvas.height(), paper);
    drawText(image, {margin, margin, width, height}, 0x202020, random_);
    typist_.emplace(Area{margin, canvas.height() / 2, width, height}, paper, random_.words(4096));
    page_ = canvas.store(image);
    canvas.setBackground(*page_);
}

void TypingScene::step(Canvas& canvas, const Step& step) {
    typist_->type(canvas, step.number);
}

}  // namespace lumicrate::stage
