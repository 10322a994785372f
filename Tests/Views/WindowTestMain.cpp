// SPDX-License-Identifier: GPL-3.0-or-later
// Runs tests of windows: a QApplication on a private desktop.
#include "Tests/Stage/PrivateDesktop.h"

#include <gmock/gmock.h>

#include <QApplication>

int main(int argc, char** argv) {
    testing::InitGoogleMock(&argc, argv);
    const lumicrate::stage::PrivateDesktop desktop({.display = {1280, 720, true, false}, .sound = false});
    qputenv("QT_QPA_PLATFORM", "xcb");
    const QApplication application(argc, argv);
    QApplication::setQuitOnLastWindowClosed(false);
    return RUN_ALL_TESTS();
}
