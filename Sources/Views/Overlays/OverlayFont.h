// The font of what is drawn in overlays.
#pragma once

#include <QFont>

namespace lumicrate::views {

/// The system's, of so many pixels of a screen on which a point is one.
inline QFont overlayFont(int pixels, QFont::Weight weight) {
    QFont font;
    font.setPixelSize(pixels);
    font.setWeight(weight);
    return font;
}

}  // namespace lumicrate::views
