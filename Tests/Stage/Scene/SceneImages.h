// What the scenes show: pages of text, windows, a desktop, a landscape.
#pragma once

#include "Tests/Stage/Scene/Image.h"
#include "Tests/Stage/Scene/Random.h"

namespace lumicrate::stage {

/// Fills an area with lines of text, some of them headings and some empty.
void drawText(Image& image, const Area& area, Color ink, Random& random);
/// A window with a title bar and text in it.
void drawWindow(Image& image, const Area& area, const char* title, Random& random);
/// An empty desktop: a sky and a task bar.
void drawDesktop(Image& image);
/// A page of text to scroll through: twice as long as the view, followed by its beginning once more, so that
/// any view of it is one piece.
Image longPage(int width, int view, int margin, Random& random);

/// Soft shades and hard shapes, for moving pictures, large enough for the camera with a view of that size.
Image paintLandscape(int viewWidth, int viewHeight, Random& random);
/// What a camera that pans over the landscape sees in a step.
Area cameraView(int step, int viewWidth, int viewHeight);

}  // namespace lumicrate::stage
