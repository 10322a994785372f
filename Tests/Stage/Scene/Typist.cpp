#include "Tests/Stage/Scene/Typist.h"

#include "Tests/Stage/Scene/Font.h"

#include <algorithm>
#include <string_view>
#include <utility>

namespace lumicrate::stage {

namespace {

constexpr int scale = 2;
constexpr int cellWidth = Font::advance * scale;
constexpr int cellHeight = Font::lineHeight * scale;
constexpr int caretWidth = 2;
constexpr Color ink = 0x202020;

}  // namespace

Typist::Typist(const Area& area, Color paper, std::string text)
    : area_(area), paper_(paper), text_(std::move(text)) {}

Area Typist::cellOf(int number) const {
    const int columns = std::max(area_.width / cellWidth, 1);
    const int rows = std::max(area_.height / cellHeight, 1);
    const int cell = number % (columns * rows);
    return {area_.x + cell % columns * cellWidth, area_.y + cell / columns * cellHeight, cellWidth,
            cellHeight};
}

void Typist::drawCaret(Image& image, int x) const {
    image.fill({x, 0, caretWidth, cellHeight - 2}, ink);
}

void Typist::type(Surface& surface, int number) const {
    const char character = text_[static_cast<std::size_t>(number) % text_.size()];
    Image glyph(2 * cellWidth, cellHeight, paper_);
    glyph.text(0, 0, std::string_view(&character, 1), ink, scale);
    drawCaret(glyph, cellWidth);  // goes before
    const Area cell = cellOf(number);
    surface.put(glyph, cell.x, cell.y);
}

void Typist::showCaret(Surface& surface, int number, bool visible) const {
    Image caret(caretWidth, cellHeight, paper_);
    if (visible) drawCaret(caret, 0);
    // Where the character before has left it: also behind the end of a line.
    const Area before = cellOf(number - 1);
    surface.put(caret, before.x + cellWidth, before.y);
}

}  // namespace lumicrate::stage
