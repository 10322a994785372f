// SPDX-License-Identifier: GPL-3.0-or-later
// callService: asynchronous calls of other programs' services on the session bus.
#pragma once

#include <QDBusConnection>
#include <QDBusError>
#include <QDBusMessage>
#include <QDBusPendingCall>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QObject>
#include <utility>

namespace lumicrate::desktop {

/// Sends a call on the session bus or another one, and later calls `handle` with a
/// QDBusPendingReply<Result...>, unless the owner has been destroyed. Without the bus, that is an error.
template <class... Result, class Handler>
void callService(const QDBusMessage& call, QObject* owner, Handler handle,
                 const QDBusConnection& bus = QDBusConnection::sessionBus()) {
    // Otherwise Qt would never finish the call.
    const QDBusPendingCall pending =
        bus.isConnected()
            ? bus.asyncCall(call)
            : QDBusPendingCall::fromError({QDBusError::Disconnected, QStringLiteral("no message bus")});
    auto* watcher = new QDBusPendingCallWatcher(pending, owner);
    QObject::connect(watcher, &QDBusPendingCallWatcher::finished, watcher,
                     [watcher, handle = std::move(handle)] {
                         watcher->deleteLater();
                         handle(QDBusPendingReply<Result...>(*watcher));
                     });
}

}  // namespace lumicrate::desktop
