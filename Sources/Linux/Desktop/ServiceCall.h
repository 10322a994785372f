// SPDX-License-Identifier: GPL-3.0-or-later
// callService: asynchronous calls of other programs' services on the session bus.
#pragma once

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QObject>
#include <utility>

namespace lumicrate::desktop {

/// Sends a call on the session bus or another one, and later calls `handle` with a
/// QDBusPendingReply<Result...>, unless the owner has been destroyed.
template <class... Result, class Handler>
void callService(const QDBusMessage& call, QObject* owner, Handler handle,
                 const QDBusConnection& bus = QDBusConnection::sessionBus()) {
    auto* watcher = new QDBusPendingCallWatcher(bus.asyncCall(call), owner);
    QObject::connect(watcher, &QDBusPendingCallWatcher::finished, watcher,
                     [watcher, handle = std::move(handle)] {
                         watcher->deleteLater();
                         handle(QDBusPendingReply<Result...>(*watcher));
                     });
}

}  // namespace lumicrate::desktop
