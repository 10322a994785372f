// SPDX-License-Identifier: GPL-3.0-or-later
// What the desktops in benchmarks show: pages of text and windows, with a font of its own.
#pragma once

#include "Tests/Stage/Scene/Image.h"

#include <functional>
#include <string>
#include <string_view>

namespace lumicrate::bench {

/// Five by seven dots a glyph: digits, ASCII letters and some punctuation.
struct Font {
    static constexpr int glyphWidth = 5;
    static constexpr int glyphHeight = 7;
    /// From one glyph, or line, to the next.
    static constexpr int advance = 6;
    static constexpr int lineHeight = 9;
};

/// From the top-left corner of the first glyph; each dot becomes `scale` × `scale` pixels.
void drawLine(stage::Image& image, int x, int y, std::string_view text, stage::Color color, int scale = 2);
/// Words separated by spaces, cut to this many characters.
std::string randomWords(stage::Random& random, int characters);

/// Fills an area with lines of text, some of them headings and some empty.
void drawText(stage::Image& image, const stage::Area& area, stage::Color ink, stage::Random& random);
/// A window with a title bar and text in it.
void drawWindow(stage::Image& image, const stage::Area& area, const char* title, stage::Random& random);
/// An empty desktop: a sky and a task bar.
void drawDesktop(stage::Image& image);
/// A page to scroll through: twice as long as the view, as `draw` draws it on `paper`, followed by its
/// beginning once more, so that any view of it is one piece.
stage::Image loopedPage(int width, int view, stage::Color paper,
                        const std::function<void(stage::Image& page)>& draw);
/// Such a page of text.
stage::Image longPage(int width, int view, int margin, stage::Random& random);

}  // namespace lumicrate::bench
