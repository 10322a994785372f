// SPDX-License-Identifier: GPL-3.0-or-later
// Theme: the colours and distances that all windows share, light and dark.
#pragma once

#include <QColor>
#include <QPalette>

class QApplication;
class QWidget;

namespace lumicrate::views {

enum class ColorScheme { light, dark };
/// High: black or white texts, and outlines that stand out.
enum class Contrast { normal, high };

/// Distances in points.
namespace measure {
constexpr int gap = 8;      ///< between related items
constexpr int margin = 16;  ///< around the content of a window
constexpr int corner = 8;   ///< radius of cards and large buttons
constexpr int symbol = 18;  ///< side of a symbol in a button
}  // namespace measure

/// Colours that QPalette has no roles for. On each of the grounds below which they are used, texts have a
/// contrast of at least 4.5.
struct ThemeColors {
    QColor accent;        ///< selected items and links
    QColor record;        ///< signs of recording, also as text
    QColor recordGround;  ///< the record button, below white text
    QColor card;          ///< raised surfaces
    QColor cardHover;
    QColor separator;
    QColor secondary;  ///< less important text
    QColor warning;
    QColor selection;  ///< behind selected text, which is white

    /// Those that match a widget's palette.
    static ThemeColors of(const QWidget& widget);
    static ThemeColors of(ColorScheme scheme, Contrast contrast = Contrast::normal);
};

/// Behind pictures that do not fill their frame, in both schemes.
inline const QColor pictureBackdrop(0x101114);

inline QColor faded(QColor color, double opacity) {
    color.setAlphaF(static_cast<float>(opacity));
    return color;
}

/// Applies a scheme to the whole application, including open windows.
void applyTheme(QApplication& application, ColorScheme scheme, Contrast contrast = Contrast::normal);

}  // namespace lumicrate::views
