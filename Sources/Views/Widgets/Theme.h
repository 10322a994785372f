// Theme: the colours and measures that all windows share, light and dark.
#pragma once

#include <QColor>
#include <QPalette>

class QApplication;
class QWidget;

namespace lumicrate::views {

enum class ColorScheme { light, dark };

/// Distances in points.
namespace measure {
constexpr int gap = 8;      ///< between things that belong together
constexpr int margin = 16;  ///< around the content of a window
constexpr int corner = 8;   ///< radius of cards and large buttons
constexpr int symbol = 18;  ///< side of a symbol in a button
}  // namespace measure

/// Colours beyond those of a palette.
struct ThemeColors {
    QColor accent;  ///< what is chosen, and links
    QColor record;  ///< the record button and all that tells of recording
    QColor card;    ///< raised surfaces
    QColor cardHover;
    QColor separator;
    QColor secondary;  ///< text of lesser weight
    QColor warning;

    /// Those that go with a widget's palette.
    static ThemeColors of(const QWidget& widget);
    static ThemeColors of(ColorScheme scheme);
};

/// Which of the two a palette is.
ColorScheme schemeOf(const QPalette& palette);

/// Gives the whole application one of the two looks, at once; open windows change with it.
void applyTheme(QApplication& application, ColorScheme scheme);

}  // namespace lumicrate::views
