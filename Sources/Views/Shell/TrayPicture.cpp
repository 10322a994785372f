#include "Views/Shell/TrayPicture.h"

#include "Views/Widgets/Symbols.h"

#include <QColor>
#include <QPainter>
#include <QPixmap>
#include <array>

namespace lumicrate::views {

namespace {

/// What panels ask for, at scales from 1 to 2.
constexpr std::array sizes{16, 22, 24, 32, 44, 48, 64};

QColor colorOf(MenuBar::Icon::Tint tint) {
    switch (tint) {
        case MenuBar::Icon::Tint::recording:
            return QColor(0xff453a);
        case MenuBar::Icon::Tint::paused:
            return QColor(0xffb340);
        case MenuBar::Icon::Tint::plain:
            break;
    }
    return QColor(0xf2f2f4);
}

/// Drawn a little larger and dark below, it has a rim that a light panel does not swallow.
QPixmap picture(const MenuBar::Icon& icon, int size) {
    QPixmap pixmap(size, size);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    const double rim = size / 18.0;
    const QRectF inner = QRectF(0, 0, size, size).adjusted(rim, rim, -rim, -rim);
    const QColor shade(0, 0, 0, 110);
    for (const QPointF offset : {QPointF(-rim, 0), QPointF(rim, 0), QPointF(0, -rim), QPointF(0, rim)})
        paintSymbol(painter, inner.translated(offset), icon.symbol, shade);
    paintSymbol(painter, inner, icon.symbol, colorOf(icon.tint));
    return pixmap;
}

}  // namespace

QIcon trayPicture(const MenuBar::Icon& icon) {
    QIcon all;
    for (const int size : sizes)
        all.addPixmap(picture(icon, size));
    return all;
}

}  // namespace lumicrate::views
