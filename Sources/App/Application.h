// SPDX-License-Identifier: GPL-3.0-or-later
// Application: creates Qt's application object. No command-line arguments are passed on to Qt.
#pragma once

#include <QApplication>
#include <QCoreApplication>
#include <memory>

namespace lumicrate::app {

/// Signals that are to be handled must be blocked before either call, because Qt may start threads.

/// Without windows.
std::unique_ptr<QCoreApplication> makeConsoleApplication();
/// Throws LocalizedError without a display server.
std::unique_ptr<QApplication> makeDesktopApplication();

}  // namespace lumicrate::app
