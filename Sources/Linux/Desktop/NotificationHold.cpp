// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Desktop/NotificationHold.h"

#include "Linux/Desktop/ServiceCall.h"
#include "Linux/Desktop/SessionBus.h"
#include "Support/ApplicationId.h"
#include "Support/Log.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QString>
#include <QStringList>
#include <QVariantMap>
#include <cstdint>
#include <optional>

namespace lumicrate::desktop {

namespace {

QDBusMessage method(const char* name) {
    const QString service = QStringLiteral("org.freedesktop.Notifications");
    return QDBusMessage::createMethodCall(service, QStringLiteral("/org/freedesktop/Notifications"), service,
                                          QString::fromLatin1(name));
}

void release(std::uint32_t cookie) {
    QDBusConnection::sessionBus().send(method("UnInhibit") << cookie);
}

}  // namespace

/// If the hold ends before the service has replied, the pending call keeps this, and releases what arrives.
struct NotificationHold::State {
    std::optional<std::uint32_t> cookie;
    bool ended = false;

    static void inhibit(const std::shared_ptr<State>& state, const QString& reason) {
        const QDBusMessage call = method("Inhibit")
                                  << QString::fromLatin1(applicationId) << reason << QVariantMap();
        callService<std::uint32_t>(call, nullptr, [state](const QDBusPendingReply<std::uint32_t>& reply) {
            log(LogArea::desktop, "notifications: ", reply.isError() ? "not held back" : "held back");
            if (reply.isError()) return;
            if (state->ended) return release(reply.value());
            state->cookie = reply.value();
        });
    }
};

NotificationHold::NotificationHold(const std::string& reason) : state_(std::make_shared<State>()) {
    if (!sessionBusExists()) return;
    callService<QStringList>(
        method("GetCapabilities"), nullptr,
        [state = state_,
         sentence = QString::fromStdString(reason)](const QDBusPendingReply<QStringList>& reply) {
            const bool canInhibit = !reply.isError() && reply.value().contains(QStringLiteral("inhibitions"));
            if (canInhibit && !state->ended) State::inhibit(state, sentence);
        });
}

NotificationHold::~NotificationHold() {
    state_->ended = true;
    if (state_->cookie) release(*state_->cookie);
}

}  // namespace lumicrate::desktop
