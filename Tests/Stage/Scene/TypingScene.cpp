#include "Tests/Stage/Scene/TypingScene.h"

#include "Tests/Stage/Scene/Font.h"
#include "Tests/Stage/Scene/Page.h"

#include <algorithm>

namespace lumicrate::stage {

namespace {

constexpr int scale = 2;
constexpr int cellWidth = Font::advance * scale;
constexpr int cellHeight = Font::lineHeight * scale;
constexpr int margin = 60;
constexpr Color paper = 0xfafafa;
constexpr Color ink = 0x202020;

}  // namespace

void TypingScene::begin(Canvas& canvas) {
    Image image(canvas.width(), canvas.height(), paper);
    drawText(image, {margin, margin, canvas.width() - 2 * margin, canvas.height() / 2 - margin}, ink,
             random_);
    text_ = random_.words(4096);
    page_ = canvas.store(image);
    canvas.setBackground(*page_);
}

void TypingScene::step(Canvas& canvas, const Step& step) {
    const int columns = std::max((canvas.width() - 2 * margin) / cellWidth, 1);
    const int rows = std::max((canvas.height() / 2 - margin) / cellHeight, 1);
    const int cell = step.number % (columns * rows);
    const char character = text_[static_cast<std::size_t>(step.number) % text_.size()];
    Image glyph(2 * cellWidth, cellHeight, paper);
    glyph.text(0, 0, std::string_view(&character, 1), ink, scale);
    glyph.fill({cellWidth, 0, 2, cellHeight - 2}, ink);  // the caret goes before
    canvas.put(glyph, {0, 0, glyph.width(), glyph.height()}, margin + cell % columns * cellWidth,
               canvas.height() / 2 + cell / columns * cellHeight);
}

}  // namespace lumicrate::stage
