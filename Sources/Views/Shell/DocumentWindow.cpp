// SPDX-License-Identifier: GPL-3.0-or-later
#include "Views/Shell/DocumentWindow.h"

#include "Views/Desktop/XcbConnection.h"
#include "Views/Shell/SingleWindow.h"
#include "Views/Widgets/Symbols.h"

#include <QCloseEvent>
#include <QCursor>
#include <QGuiApplication>
#include <QScreen>
#include <string_view>

namespace lumicrate::views {

namespace {

QSize sizeOf(Size size) {
    return QSizeF(size.width, size.height).toSize();
}

}  // namespace

DocumentWindow::DocumentWindow() {
    setWindowIcon(applicationIcon());
    setFocusPolicy(Qt::StrongFocus);
}

/// Until it is shown, the one under the pointer, where the user is.
const QScreen& DocumentWindow::targetScreen() const {
    const QScreen* const pointed = isVisible() ? nullptr : QGuiApplication::screenAt(QCursor::pos());
    return pointed ? *pointed : *screen();
}

void DocumentWindow::setContentMinSize(Size size) {
    setMinimumSize(sizeOf(size));
}

void DocumentWindow::setContentSize(Size size) {
    resize(sizeOf(size));
}

Size DocumentWindow::visibleFrameSize() const {
    const QSizeF available = targetScreen().availableSize();
    return {available.width(), available.height()};
}

void DocumentWindow::center() {
    QRect frame(QPoint(), size());
    frame.moveCenter(targetScreen().availableGeometry().center());
    move(frame.topLeft());
}

void DocumentWindow::makeKeyAndOrderFront() {
    bringForward(*this);
    setFocus();
}

void DocumentWindow::requestDarkTitleBar() {
    if (!xcbConnection()) return;
    constexpr std::string_view variant = "dark";
    xcb_change_property(xcbConnection(), XCB_PROP_MODE_REPLACE, static_cast<xcb_window_t>(winId()),
                        xcbAtom("_GTK_THEME_VARIANT"), xcbAtom("UTF8_STRING"), 8, variant.size(),
                        variant.data());
    xcb_flush(xcbConnection());
}

void DocumentWindow::closeEvent(QCloseEvent* event) {
    event->accept();
    reportClose();
}

}  // namespace lumicrate::views
