// SPDX-License-Identifier: GPL-3.0-or-later
#include "Views/Widgets/Theme.h"

#include <QApplication>
#include <QStyle>
#include <QStyleFactory>
#include <QWidget>

namespace lumicrate::views {

namespace {

QPalette paletteOf(ColorScheme scheme, Contrast contrast) {
    const bool dark = scheme == ColorScheme::dark;
    const bool high = contrast == Contrast::high;
    const QColor ground(dark ? Qt::black : Qt::white);
    const QColor window(high ? ground : dark ? QColor(0x1f2127) : QColor(0xf4f4f6));
    const QColor base(high ? ground : dark ? QColor(0x17181d) : QColor(0xffffff));
    const QColor button(high ? ground : dark ? QColor(0x30333c) : QColor(0xffffff));
    const QColor text(high ? dark ? Qt::white : Qt::black : dark ? QColor(0xe9eaee) : QColor(0x1c1d22));
    const QColor pale(dark ? 0x6c707c : 0xa3a6b0);
    const ThemeColors colors = ThemeColors::of(scheme, contrast);
    QPalette palette(text, button, button.lighter(115), window.darker(140), window.darker(115), text,
                     Qt::white, base, window);
    palette.setColor(QPalette::AlternateBase, window);
    palette.setColor(QPalette::Highlight, colors.selection);
    palette.setColor(QPalette::HighlightedText, Qt::white);
    palette.setColor(QPalette::Link, colors.accent);
    palette.setColor(QPalette::PlaceholderText, colors.secondary);
    palette.setColor(QPalette::ToolTipBase, dark ? QColor(0x3a3d47) : QColor(0x2b2d33));
    palette.setColor(QPalette::ToolTipText, Qt::white);
    for (const auto role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText})
        palette.setColor(QPalette::Disabled, role, pale);
    palette.setColor(QPalette::Disabled, QPalette::Highlight, pale);
    return palette;
}

}  // namespace

ThemeColors ThemeColors::of(ColorScheme scheme, Contrast contrast) {
    const bool dark = scheme == ColorScheme::dark;
    ThemeColors colors{QColor(0x0b52b5), QColor(0xb81d18), QColor(0xd6322d),
                       QColor(0xffffff), QColor(0xebedf2), QColor(0xdcdde2),
                       QColor(0x585b66), QColor(0x855000), QColor(0x0b52b5)};
    if (dark) {
        colors = {QColor(0x74aaff), QColor(0xff7a75), QColor(0xd6322d), QColor(0x292c34), QColor(0x343842),
                  QColor(0x3a3d46), QColor(0xa7abb7), QColor(0xffb340), QColor(0x2a6bd4)};
    }
    if (contrast == Contrast::high) {
        colors.secondary = dark ? Qt::white : Qt::black;
        colors.separator = QColor(dark ? 0xb0b0b0 : 0x505050);
        colors.card = dark ? Qt::black : Qt::white;
    }
    return colors;
}

ThemeColors ThemeColors::of(const QWidget& widget) {
    const QPalette& palette = widget.palette();
    const QColor window = palette.color(QPalette::Window);
    const bool dark = window.lightness() < palette.color(QPalette::WindowText).lightness();
    // Only the palettes of high contrast have these.
    const bool high = window == QColor(dark ? Qt::black : Qt::white);
    return of(dark ? ColorScheme::dark : ColorScheme::light, high ? Contrast::high : Contrast::normal);
}

void applyTheme(QApplication& application, ColorScheme scheme, Contrast contrast) {
    static const QString style = QStringLiteral("Fusion");
    if (application.style()->objectName().compare(style, Qt::CaseInsensitive) != 0)
        QApplication::setStyle(QStyleFactory::create(style));
    const QPalette palette = paletteOf(scheme, contrast);
    QApplication::setPalette(palette);
    // Without a text inside, their ground alone has to stand out from a dark window.
    QPalette raised = palette;
    if (scheme == ColorScheme::dark) raised.setColor(QPalette::Base, QColor(0x484c58));
    for (const char* widgetClass : {"QCheckBox", "QProgressBar"})
        QApplication::setPalette(raised, widgetClass);
}

}  // namespace lumicrate::views
