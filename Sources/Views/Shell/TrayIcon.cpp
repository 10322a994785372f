#include "Views/Shell/TrayIcon.h"

#include "Views/Shell/TrayPicture.h"
#include "Views/Widgets/Menus.h"
#include "Views/Widgets/QtText.h"

#include <QCursor>
#include <QTimer>

namespace lumicrate::views {

TrayIcon::TrayIcon(MenuBar& menuBar, ScreenRecorder& recorder)
    : menuBar_(menuBar), recorder_(recorder), hosts_([this] { show(); }) {
    // A panel on the bus may never say that the menu is about to open, so it is filled beforehand; where it
    // does, the time in it is that of now.
    QObject::connect(&menu_, &QMenu::aboutToShow, &menu_, [this] { refill(); });
    changes_ = menuBar_.icon.observe([this](const MenuBar::Icon& next) {
        if (!icon_) return;
        icon_->setIcon(trayPicture(next));
        icon_->setToolTip(qtText(next.toolTip));
    });
    stateChanges_ = recorder_.state.observe([this](ScreenRecorder::State) {
        // The change takes effect after this.
        QTimer::singleShot(0, &menu_, [this] { refill(); });
    });
    if (hosts_.isThere()) show();
}

void TrayIcon::show() {
    // Made only now: the toolkit decides once, with the first icon, which kind of panel there is.
    icon_ = std::make_unique<QSystemTrayIcon>(trayPicture(*menuBar_.icon));
    icon_->setToolTip(qtText(menuBar_.icon->toolTip));
    refill();
    icon_->setContextMenu(&menu_);
    QObject::connect(icon_.get(), &QSystemTrayIcon::activated, icon_.get(),
                     [this](QSystemTrayIcon::ActivationReason reason) { clicked(reason); });
    icon_->show();
}

void TrayIcon::refill() {
    fillMenu(menu_, menuBar_.items());
}

void TrayIcon::clicked(QSystemTrayIcon::ActivationReason reason) {
    if (reason == QSystemTrayIcon::MiddleClick) recorder_.toggle();
    if (reason == QSystemTrayIcon::Trigger) menu_.popup(QCursor::pos());
}

}  // namespace lumicrate::views
