// SPDX-License-Identifier: GPL-3.0-or-later
#include "Views/Shell/TrayIcon.h"

#include "Support/Log.h"
#include "Views/Widgets/Menus.h"
#include "Views/Widgets/QtText.h"
#include "Views/Widgets/Symbols.h"

#include <QColor>
#include <QCursor>
#include <QPainter>
#include <QPixmap>
#include <array>
#include <chrono>

namespace lumicrate::views {

namespace {

/// The sizes that panels use, at scales from 1 to 2.
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

/// Has a dark rim, so that it is visible on light panels as well as dark ones: the panel's colour is unknown.
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

QIcon trayPicture(const MenuBar::Icon& icon) {
    QIcon all;
    for (const int size : sizes)
        all.addPixmap(picture(icon, size));
    return all;
}

}  // namespace

TrayIcon::TrayIcon(MenuBar& menuBar, ScreenRecorder& recorder)
    : menuBar_(menuBar), recorder_(recorder), hosts_([this] { show(); }) {
    // Panels on the bus need not announce that they open the menu, so it is kept up to date.
    QObject::connect(&menu_, &QMenu::aboutToShow, &menu_, [this] { refill(); });
    clock_.setInterval(std::chrono::seconds(1));
    QObject::connect(&clock_, &QTimer::timeout, &menu_, [this] { updateElapsed(); });
    shortcutChanges_ = menuBar_.observeShortcuts([this] { refill(); });
    changes_ = menuBar_.icon.observe([this](const MenuBar::Icon& next) {
        if (!icon_) return;
        icon_->setIcon(trayPicture(next));
        icon_->setToolTip(qtText(next.toolTip));
    });
    stateChanges_ = recorder_.state.observe([this](ScreenRecorder::State) {
        // The new state takes effect after this call.
        QTimer::singleShot(0, &menu_, [this] { refill(); });
    });
    log(LogArea::ui, "tray at the start: ", hosts_.isPresent());
    if (hosts_.isPresent()) show();
}

void TrayIcon::show() {
    // Not created earlier: Qt decides once, with the first icon, which kind of tray there is.
    icon_ = std::make_unique<QSystemTrayIcon>(trayPicture(*menuBar_.icon));
    icon_->setToolTip(qtText(menuBar_.icon->toolTip));
    refill();
    icon_->setContextMenu(&menu_);
    QObject::connect(icon_.get(), &QSystemTrayIcon::activated, icon_.get(),
                     [this](QSystemTrayIcon::ActivationReason reason) { clicked(reason); });
    icon_->show();
}

void TrayIcon::refill() {
    if (!icon_) return;
    fillMenu(menu_, menuBar_.items());
    if (*recorder_.state == ScreenRecorder::State::recording) {
        if (!clock_.isActive()) clock_.start();
    } else {
        clock_.stop();
    }
}

/// Only this item: panels would close a menu that is rebuilt while it is open.
void TrayIcon::updateElapsed() {
    if (recorder_.isActive()) menu_.actions().constFirst()->setText(qtText(menuBar_.statusText()));
}

void TrayIcon::clicked(QSystemTrayIcon::ActivationReason reason) {
    if (reason == QSystemTrayIcon::MiddleClick) recorder_.toggle();
    if (reason == QSystemTrayIcon::Trigger) menu_.popup(QCursor::pos());
}

}  // namespace lumicrate::views
