// Waiting on Qt's event loop for what is to happen.
#pragma once

#include <QCoreApplication>
#include <QEventLoop>
#include <QTimer>
#include <functional>

namespace lumicrate::test {

/// Spins the loop until `reached` or half a minute has passed; whether it was reached.
inline bool await(const std::function<bool()>& reached) {
    QTimer patience;
    patience.setSingleShot(true);
    patience.start(30'000);
    while (!reached() && patience.isActive())
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    return reached();
}

}  // namespace lumicrate::test
