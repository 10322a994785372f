// SPDX-License-Identifier: GPL-3.0-or-later
// lumicrate-bench-scene: plays the scenes of lumicrate-bench.
#include "Benchmarks/DesktopImages.h"
#include "Benchmarks/ScrollingViews.h"
#include "Tests/Stage/Scene/Scene.h"

#include <algorithm>
#include <cmath>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace lumicrate::bench {

namespace {

using stage::Area;
using stage::Color;
using stage::Image;
using stage::Random;
using stage::Scene;
using stage::Step;
using stage::Surface;

/// A part of a canvas, in hundredths of its sides.
Area part(const Surface& canvas, int left, int top, int width, int height) {
    return {canvas.width() * left / 100, canvas.height() * top / 100, canvas.width() * width / 100,
            canvas.height() * height / 100};
}

/// A desktop with windows full of text, on which nothing happens.
Scene still(Surface& canvas, Random random) {
    Image image(canvas.width(), canvas.height());
    drawDesktop(image);
    drawWindow(image, part(canvas, 4, 6, 48, 64), "Notes", random);
    drawWindow(image, part(canvas, 56, 4, 41, 46), "Letters", random);
    drawWindow(image, part(canvas, 40, 42, 50, 50), "Editor", random);
    canvas.setBackground(canvas.store(image));
    return {.rate = 0};
}

/// Writes a text into an area, one character after the other, with a caret before the next one. It starts
/// again at the top when the area is full, and with the text when the text ends.
class Typist {
 public:
    Typist(const Area& area, Color paper, std::string text)
        : area_(area), paper_(paper), text_(std::move(text)) {}

    /// Types the character of that number.
    void type(Surface& surface, int number) const {
        const char character = text_[static_cast<std::size_t>(number) % text_.size()];
        Image glyph(2 * cellWidth, cellHeight, paper_);
        drawLine(glyph, 0, 0, std::string_view(&character, 1), ink, scale);
        glyph.fill({cellWidth, 0, caretWidth, caretHeight}, ink);
        const Area cell = cellOf(number);
        surface.put(glyph, cell.x, cell.y);
    }
    /// Draws or removes the caret before that character, also behind the end of a line.
    void showCaret(Surface& surface, int number, bool visible) const {
        Image caret(caretWidth, cellHeight, paper_);
        if (visible) caret.fill({0, 0, caretWidth, caretHeight}, ink);
        const Area before = cellOf(number - 1);
        surface.put(caret, before.x + cellWidth, before.y);
    }

 private:
    static constexpr int scale = 2;
    static constexpr int cellWidth = Font::advance * scale;
    static constexpr int cellHeight = Font::lineHeight * scale;
    static constexpr int caretWidth = 2;
    static constexpr int caretHeight = cellHeight - 2;
    static constexpr Color ink = 0x202020;

    Area cellOf(int number) const {
        const int columns = std::max(area_.width / cellWidth, 1);
        const int rows = std::max(area_.height / cellHeight, 1);
        const int cell = number % (columns * rows);
        return {area_.x + cell % columns * cellWidth, area_.y + cell / columns * cellHeight, cellWidth,
                cellHeight};
    }

    Area area_;
    Color paper_;
    std::string text_;
};

/// Somebody writes on a page that is half full of text.
Scene typing(Surface& canvas, Random random) {
    constexpr int margin = 60;
    constexpr Color paper = 0xfafafa;
    const int width = canvas.width() - 2 * margin;
    const int height = canvas.height() / 2 - margin;
    Image image(canvas.width(), canvas.height(), paper);
    drawText(image, {margin, margin, width, height}, 0x202020, random);
    const Typist typist({margin, canvas.height() / 2, width, height}, paper, randomWords(random, 4096));
    canvas.setBackground(canvas.store(image));
    return {.rate = 8, .step = [&canvas, typist](const Step& step) { typist.type(canvas, step.number); }};
}

/// A program scrolls a page. The server keeps the page, so a step is one copy.
Scene scrolling(Surface& canvas, const ScrollingView& program) {
    canvas.setBackground(canvas.store(program.frame));
    const auto show = [&canvas, program, page = canvas.store(program.page)](int steps) {
        canvas.copy(page, program.visible(steps), program.view.x, program.view.y);
    };
    show(0);
    return {.step = [show](const Step& step) { show(step.number + 1); }};
}

/// A window with text is dragged over a picture. It is a real window, so that the server uncovers what was
/// below it and a compositor has work to do.
Scene dragging(Surface& canvas, Random random) {
    canvas.setBackground(canvas.store(paintLandscape(canvas.width(), canvas.height(), random)));
    const int width = std::min(640, canvas.width() * 2 / 3);
    const int height = std::min(480, canvas.height() * 2 / 3);
    // At most 20 pixels a step on a screen of 1920 × 1080, at another speed in each direction.
    const auto place = [=, &canvas](int step) -> Area {
        return {static_cast<int>((canvas.width() - width) * (0.5 - 0.5 * std::cos(step * 0.031))),
                static_cast<int>((canvas.height() - height) * (0.5 - 0.5 * std::cos(step * 0.023))), width,
                height};
    };
    Image contents(width, height);
    drawWindow(contents, {1, 1, width - 2, height - 2}, "Notes", random);
    const std::shared_ptr<Surface> window = canvas.openWindow(place(0), "Notes");
    window->setBackground(window->store(contents));
    return {.step =
                [=](const Step& step) {
                    const Area area = place(step.number);
                    window->moveTo(area.x, area.y);
                },
            .mainWindow = window};
}

/// An ordinary minute: somebody writes in one window, a film runs in another, and every three seconds the
/// page in a third is scrolled. The film covers a corner of the window with the text.
class MixedScene {
 public:
    MixedScene(Surface& canvas, Random random) {
        Image desktop(canvas.width(), canvas.height());
        drawDesktop(desktop);
        canvas.setBackground(canvas.store(desktop));
        openEditor(canvas, random);
        openReader(canvas, random);
        openFilm(canvas, random);
    }

    void step(int number) {
        film_->copy(landscape_, stage::cameraView(number, film_->width(), film_->height()), 0, 0);
        const int typed = number / stepsPerGlyph;
        if (number % stepsPerGlyph == 0) typist_->type(*editor, typed);
        if (number % stepsPerBlink == 0)
            typist_->showCaret(*editor, typed + 1, number / stepsPerBlink % 2 == 0);
        const int phase = number % stepsBetweenScrolls;
        if (phase >= stepsOfScroll) return;
        const int view = reader_->height() - titleHeight;
        const int scrolled = number / stepsBetweenScrolls * stepsOfScroll + phase + 1;
        reader_->copy(page_, {0, scrolled * pixelsPerScrollStep % (2 * view), reader_->width(), view}, 0,
                      titleHeight);
    }

    std::shared_ptr<Surface> editor;

 private:
    // There are thirty steps a second.
    static constexpr int stepsPerGlyph = 4;
    static constexpr int stepsPerBlink = 15;
    static constexpr int stepsBetweenScrolls = 90;
    static constexpr int stepsOfScroll = 6;
    static constexpr int pixelsPerScrollStep = 24;
    static constexpr int margin = 24;
    static constexpr int titleHeight = 30;

    void openEditor(Surface& canvas, Random& random) {
        constexpr Color paper = 0xffffff;
        const Area area = part(canvas, 4, 8, 45, 70);
        Image document(area.width, area.height);
        drawWindow(document, {0, 0, area.width, area.height}, "Editor", random);
        // The typist writes in the third quarter, which nothing covers.
        const Area rest{0, area.height / 2, area.width, area.height - area.height / 2};
        document.fill(rest, paper);
        typist_.emplace(Area{margin, rest.y + margin, rest.width - 2 * margin, rest.height / 2}, paper,
                        randomWords(random, 4096));
        editor = canvas.openWindow(area, "Editor");
        editor->setBackground(editor->store(document));
    }
    void openReader(Surface& canvas, Random& random) {
        const Area area = part(canvas, 54, 5, 42, 50);
        const int view = area.height - titleHeight;
        Image bar(area.width, area.height, 0xdeddda);
        drawLine(bar, 12, 8, "Reader", 0x241f31);
        reader_ = canvas.openWindow(area, "Reader");
        // As the background: a compositor has new windows painted again.
        reader_->setBackground(reader_->store(bar));
        page_ = reader_->store(longPage(area.width, view, margin, random));
        reader_->copy(page_, {0, 0, area.width, view}, 0, titleHeight);
    }
    void openFilm(Surface& canvas, Random& random) {
        const Area corner = part(canvas, 46, 68, 0, 0);
        const Area area{corner.x, corner.y, std::min(480, canvas.width() / 3),
                        std::min(270, canvas.height() / 4)};
        film_ = canvas.openWindow(area, "Film");
        landscape_ = film_->store(paintLandscape(area.width, area.height, random));
        film_->copy(landscape_, stage::cameraView(0, area.width, area.height), 0, 0);
    }

    std::optional<Typist> typist_;
    std::unique_ptr<Surface> reader_;
    std::unique_ptr<Surface> film_;
    stage::StoredImage page_ = 0;
    stage::StoredImage landscape_ = 0;
};

Scene mixed(Surface& canvas, Random random) {
    const auto scene = std::make_shared<MixedScene>(canvas, random);
    return {.step = [scene](const Step& step) { scene->step(step.number); }, .mainWindow = scene->editor};
}

}  // namespace

}  // namespace lumicrate::bench

int main(int argc, char** argv) {
    using namespace lumicrate::bench;
    using namespace lumicrate::stage;
    SceneMakers scenes = basicScenes();
    scenes.insert({{"dragging", dragging}, {"mixed", mixed}, {"still", still}, {"typing", typing}});
    for (const auto& [name, make] : scrollingViews()) {
        scenes[name] = [make](Surface& canvas, Random random) {
            return scrolling(canvas, make(canvas.width(), canvas.height(), random));
        };
    }
    return playScene(scenes, argc, argv);
}
