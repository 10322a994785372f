#include "Tests/Stage/Scene/MixedScene.h"

#include "Tests/Stage/Scene/Landscape.h"
#include "Tests/Stage/Scene/Page.h"

#include <algorithm>

namespace lumicrate::stage {

namespace {

// In steps, of which there are thirty a second.
constexpr int stepsPerGlyph = 4;
constexpr int stepsPerBlink = 15;
constexpr int stepsBetweenScrolls = 90;
constexpr int stepsOfScroll = 6;

constexpr int pixelsPerScrollStep = 24;
constexpr int margin = 24;
constexpr int titleHeight = 30;
constexpr Color paper = 0xffffff;

// A part of the screen, in hundredths.
Area part(const Canvas& canvas, int left, int top, int width, int height) {
    return {canvas.width() * left / 100, canvas.height() * top / 100, canvas.width() * width / 100,
            canvas.height() * height / 100};
}

}  // namespace

void MixedScene::begin(Canvas& canvas) {
    Image desktop(canvas.width(), canvas.height());
    drawDesktop(desktop);
    desktop_ = canvas.store(desktop);
    canvas.setBackground(*desktop_);
    openEditor(canvas);
    openReader(canvas);
    openFilm(canvas);
}

void MixedScene::openEditor(Canvas& canvas) {
    const Area area = part(canvas, 4, 8, 45, 70);
    Image document(area.width, area.height);
    drawWindow(document, {0, 0, area.width, area.height}, "Editor", random_);
    // Written is in the third quarter, which nothing covers; the text below gives way.
    const Area rest{0, area.height / 2, area.width, area.height - area.height / 2};
    document.fill(rest, paper);
    typist_.emplace(Area{margin, rest.y + margin, rest.width - 2 * margin, rest.height / 2}, paper,
                    random_.words(4096));
    editor_ = canvas.openWindow(area, "Editor");
    document_ = editor_->store(document);
    editor_->setBackground(*document_);
}

void MixedScene::openReader(Canvas& canvas) {
    const Area area = part(canvas, 54, 5, 42, 50);
    const int view = area.height - titleHeight;
    Image bar(area.width, area.height, 0xdeddda);
    bar.text(12, 8, "Reader", 0x241f31);
    reader_ = canvas.openWindow(area, "Reader");
    // As a background: a compositor that sets to work when it sees the first windows has them painted anew.
    bar_ = reader_->store(bar);
    reader_->setBackground(*bar_);
    page_ = reader_->store(longPage(area.width, view, margin, random_));
    reader_->copy(*page_, {0, 0, area.width, view}, 0, titleHeight);
}

void MixedScene::openFilm(Canvas& canvas) {
    const Area beside = part(canvas, 46, 68, 0, 0);
    const Area area{beside.x, beside.y, std::min(480, canvas.width() / 3),
                    std::min(270, canvas.height() / 4)};
    film_ = canvas.openWindow(area, "Film");
    landscape_ = film_->store(paintLandscape(area.width, area.height, random_));
    film_->copy(*landscape_, cameraView(0, area.width, area.height), 0, 0);
}

void MixedScene::step(Canvas&, const Step& step) {
    film_->copy(*landscape_, cameraView(step.number, film_->width(), film_->height()), 0, 0);
    write(step.number);
    scroll(step.number);
}

void MixedScene::write(int step) {
    const int typed = step / stepsPerGlyph;
    if (step % stepsPerGlyph == 0) typist_->type(*editor_, typed);
    if (step % stepsPerBlink == 0) typist_->showCaret(*editor_, typed + 1, step / stepsPerBlink % 2 == 0);
}

void MixedScene::scroll(int step) {
    const int phase = step % stepsBetweenScrolls;
    if (phase >= stepsOfScroll) return;
    const int view = reader_->height() - titleHeight;
    const int scrolled = step / stepsBetweenScrolls * stepsOfScroll + phase + 1;
    reader_->copy(*page_, {0, scrolled * pixelsPerScrollStep % (2 * view), reader_->width(), view}, 0,
                  titleHeight);
}

}  // namespace lumicrate::stage
