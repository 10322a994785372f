// SPDX-License-Identifier: GPL-3.0-or-later
// Theme: the colours and distances that all windows share, light and dark.
#pragma once

#include <QColor>
#include <QPalette>

class QApplication;
class QWidget;

namespace lumicrate::views {

enum class ColorScheme { light, dark };

/// Distances in points.
namespace measure {
constexpr int gap = 8;      ///< between related items
constexpr int margin = 16;  ///< around the content of a window
constexpr int corner = 8;   ///< radius of cards and large buttons
constexpr int symbol = 18;  ///< side of a symbol in a button
}  // namespace measure

/// Colours that QPalette has no roles for.
struct ThemeColors {
    QColor accent;  ///< selected items and links
    QColor record;  ///< the record button and other signs of recording
    QColor card;    ///< raised surfaces
    QColor cardHover;
    QColor separator;
    QColor secondary;  ///< less important text
    QColor warning;

    /// Those that match a widget's palette.
    static ThemeColors of(const QWidget& widget);
    static ThemeColors of(ColorScheme scheme);
};

/// Behind pictures that do not fill their frame, in both schemes.
inline const QColor pictureBackdrop(0x101114);

inline QColor faded(QColor color, double opacity) {
    color.setAlphaF(static_cast<float>(opacity));
    return color;
}

/// Applies a scheme to the whole application, including open windows.
void applyTheme(QApplication& application, ColorScheme scheme);

}  // namespace lumicrate::views
