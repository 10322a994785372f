// SPDX-License-Identifier: GPL-3.0-or-later
// Waiting for a condition on Qt's event loop.
#pragma once

#include <QCoreApplication>
#include <QEventLoop>
#include <QTimer>
#include <functional>

namespace lumicrate::test {

/// Processes events until `reached`, for half a minute at most. Returns whether it was reached.
inline bool await(const std::function<bool()>& reached) {
    QTimer timeout;
    timeout.setSingleShot(true);
    timeout.start(30'000);
    while (!reached() && timeout.isActive())
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    return reached();
}

}  // namespace lumicrate::test
