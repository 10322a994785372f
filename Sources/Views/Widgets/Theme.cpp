// SPDX-License-Identifier: GPL-3.0-or-later
#include "Views/Widgets/Theme.h"

#include <QApplication>
#include <QStyle>
#include <QStyleFactory>
#include <QWidget>

namespace lumicrate::views {

namespace {

QPalette paletteOf(ColorScheme scheme) {
    const bool dark = scheme == ColorScheme::dark;
    const QColor window(dark ? 0x1f2127 : 0xf4f4f6);
    const QColor base(dark ? 0x17181d : 0xffffff);
    const QColor button(dark ? 0x30333c : 0xffffff);
    const QColor text(dark ? 0xe9eaee : 0x1c1d22);
    const QColor pale(dark ? 0x6c707c : 0xa3a6b0);
    const ThemeColors colors = ThemeColors::of(scheme);
    QPalette palette(text, button, button.lighter(115), window.darker(140), window.darker(115), text,
                     Qt::white, base, window);
    palette.setColor(QPalette::AlternateBase, window);
    palette.setColor(QPalette::Highlight, colors.accent);
    palette.setColor(QPalette::HighlightedText, Qt::white);
    palette.setColor(QPalette::Link, colors.accent);
    palette.setColor(QPalette::PlaceholderText, pale);
    palette.setColor(QPalette::ToolTipBase, dark ? QColor(0x3a3d47) : QColor(0x2b2d33));
    palette.setColor(QPalette::ToolTipText, Qt::white);
    for (const auto role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText})
        palette.setColor(QPalette::Disabled, role, pale);
    palette.setColor(QPalette::Disabled, QPalette::Highlight, pale);
    return palette;
}

}  // namespace

ThemeColors ThemeColors::of(ColorScheme scheme) {
    if (scheme == ColorScheme::dark) {
        return {QColor(0x5b9bff), QColor(0xff4f4a), QColor(0x292c34), QColor(0x343842),
                QColor(0x3a3d46), QColor(0x9da1ad), QColor(0xffb340)};
    }
    return {QColor(0x1668dc), QColor(0xe5352f), QColor(0xffffff), QColor(0xebedf2),
            QColor(0xdcdde2), QColor(0x686b76), QColor(0xb26a00)};
}

ThemeColors ThemeColors::of(const QWidget& widget) {
    const QPalette& palette = widget.palette();
    const bool dark =
        palette.color(QPalette::Window).lightness() < palette.color(QPalette::WindowText).lightness();
    return of(dark ? ColorScheme::dark : ColorScheme::light);
}

void applyTheme(QApplication& application, ColorScheme scheme) {
    static const QString style = QStringLiteral("Fusion");
    if (application.style()->objectName().compare(style, Qt::CaseInsensitive) != 0)
        QApplication::setStyle(QStyleFactory::create(style));
    const QPalette palette = paletteOf(scheme);
    QApplication::setPalette(palette);
    // Without a text inside, their ground alone has to stand out from a dark window.
    QPalette raised = palette;
    if (scheme == ColorScheme::dark) raised.setColor(QPalette::Base, QColor(0x484c58));
    for (const char* widgetClass : {"QCheckBox", "QProgressBar"})
        QApplication::setPalette(raised, widgetClass);
}

}  // namespace lumicrate::views
