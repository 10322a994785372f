// What several scenes show: pages of text and windows with text.
#pragma once

#include "Tests/Stage/Scene/Image.h"
#include "Tests/Stage/Scene/Random.h"

namespace lumicrate::stage {

// Fills an area with lines of text, some of them headings and some empty.
void drawText(Image& image, const Area& area, Color ink, Random& random);
// A window with a title bar and text in it.
void drawWindow(Image& image, const Area& area, const char* title, Random& random);

}  // namespace lumicrate::stage
