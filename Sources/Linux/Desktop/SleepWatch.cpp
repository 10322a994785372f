// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Desktop/SleepWatch.h"

#include "Support/Log.h"

#include <QDBusConnection>
#include <utility>

namespace lumicrate::desktop {

SleepWatch::SleepWatch(std::function<void()> onWakeUp) : onWakeUp_(std::move(onWakeUp)) {
    const bool isWatching = QDBusConnection::systemBus().connect(
        QStringLiteral("org.freedesktop.login1"), QStringLiteral("/org/freedesktop/login1"),
        QStringLiteral("org.freedesktop.login1.Manager"), QStringLiteral("PrepareForSleep"), this,
        SLOT(prepareForSleep(bool)));
    if (!isWatching) log(LogArea::desktop, "no system bus: a suspended computer goes unnoticed");
}

/// logind's signal: before the suspension and after it.
void SleepWatch::prepareForSleep(bool isAhead) {
    log(LogArea::desktop, isAhead ? "the computer is being suspended" : "the computer has woken up");
    if (!isAhead) onWakeUp_();
}

}  // namespace lumicrate::desktop
