// SPDX-License-Identifier: GPL-3.0-or-later
// TrayIcon: the recorder's icon in the desktop's panel.
#pragma once

#include "Lumicrate/Shell/MenuBar.h"
#include "Views/Shell/TrayHosts.h"

#include <QMenu>
#include <QSystemTrayIcon>
#include <QTimer>
#include <memory>

namespace lumicrate::views {

/// Shows itself as soon as the desktop has a tray. A click opens the menu, a middle click starts or stops a
/// recording.
class TrayIcon {
 public:
    /// Both must outlive it.
    TrayIcon(MenuBar& menuBar, ScreenRecorder& recorder);
    TrayIcon(const TrayIcon&) = delete;
    TrayIcon& operator=(const TrayIcon&) = delete;

    /// Whether the icon is visible in a tray.
    bool isShown() const { return icon_ != nullptr && hosts_.isPresent(); }

 private:
    void show();
    void refill();
    void updateElapsed();
    void clicked(QSystemTrayIcon::ActivationReason reason);

    MenuBar& menuBar_;
    ScreenRecorder& recorder_;
    TrayHosts hosts_;
    QMenu menu_;
    QTimer clock_;  ///< runs while the elapsed time in the menu changes
    std::unique_ptr<QSystemTrayIcon> icon_;
    Subscription changes_;
    Subscription stateChanges_;
    Subscription shortcutChanges_;
};

}  // namespace lumicrate::views
