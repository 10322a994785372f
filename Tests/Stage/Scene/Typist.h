// Typist: writes a text into a window, one character after the other, and keeps a caret before the next.
#pragma once

#include "Tests/Stage/Scene/Surface.h"

#include <string>

namespace lumicrate::stage {

class Typist {
 public:
    // Begins again at the area's top when it is full, and the text when it ends.
    Typist(const Area& area, Color paper, std::string text);

    // Types the character of that number; the caret goes on.
    void type(Surface& surface, int number) const;
    // Draws or takes away the caret that stands before that character.
    void showCaret(Surface& surface, int number, bool visible) const;

 private:
    Area cellOf(int number) const;
    void drawCaret(Image& image, int x) const;

    Area area_;
    Color paper_;
    std::string text_;
};

}  // namespace lumicrate::stage
