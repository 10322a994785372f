// SPDX-License-Identifier: GPL-3.0-or-later
#include "Views/Shell/SingleWindow.h"

#include "Views/Shell/Launch.h"

namespace lumicrate::views {

void bringForward(QWidget& window) {
    window.setWindowState(window.windowState() & ~Qt::WindowMinimized);
    window.show();
    window.raise();
    window.activateWindow();
    Launch::activate(window);
}

SingleWindow::~SingleWindow() {
    for (const auto& [kind, window] : windows_)
        delete window;
}

QWidget& SingleWindow::show(const std::string& kind, const std::function<std::unique_ptr<QWidget>()>& make) {
    QPointer<QWidget>& window = windows_[kind];
    // A closed window is hidden, but exists until the event loop deletes it.
    if (!window || window->isHidden()) {
        window = make().release();
        window->setAttribute(Qt::WA_DeleteOnClose);
    }
    bringForward(*window);
    return *window;
}

}  // namespace lumicrate::views
