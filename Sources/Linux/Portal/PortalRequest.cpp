// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Portal/PortalRequest.h"

#include "Support/Log.h"

#include <QDBusConnection>
#include <QDBusObjectPath>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusServiceWatcher>
#include <QUuid>
#include <utility>

namespace lumicrate::portal {

namespace {

const QString requestInterface = QStringLiteral("org.freedesktop.portal.Request");

/// The portal derives the path of a request from the caller's unique name and the token.
QString requestPath(const QString& token) {
    QString sender = QDBusConnection::sessionBus().baseService().mid(1);
    sender.replace(QLatin1Char('.'), QLatin1Char('_'));
    return objectPath + QStringLiteral("/request/") + sender + QLatin1Char('/') + token;
}

}  // namespace

PortalRequest::PortalRequest(const QString& interface, const QString& method, QVariantList arguments,
                             QVariantMap options, Completion completion)
    : completion_(std::move(completion)) {
    const QString token = QStringLiteral("lumicrate_") + QUuid::createUuid().toString(QUuid::Id128);
    options.insert(QStringLiteral("handle_token"), token);
    follow(requestPath(token));

    auto* const gone = new QDBusServiceWatcher(service, QDBusConnection::sessionBus(),
                                               QDBusServiceWatcher::WatchForUnregistration, this);
    connect(gone, &QDBusServiceWatcher::serviceUnregistered, this, [this] { finish(Outcome::failed); });

    QDBusMessage call = QDBusMessage::createMethodCall(
        service, objectPath, QStringLiteral("org.freedesktop.portal.") + interface, method);
    arguments << options;
    call.setArguments(arguments);
    auto* const sent = new QDBusPendingCallWatcher(QDBusConnection::sessionBus().asyncCall(call), this);
    connect(sent, &QDBusPendingCallWatcher::finished, this, [this, sent, method] {
        const QDBusPendingReply<QDBusObjectPath> reply(*sent);
        if (reply.isError()) {
            log(LogArea::desktop, "portal: ", method.toStdString(), ": ",
                reply.error().message().toStdString());
            finish(Outcome::failed);
        } else if (reply.value().path() != path_) {
            // Portals before version 0.9 choose the path themselves.
            follow(reply.value().path());
        }
    });
}

PortalRequest::~PortalRequest() {
    if (!completion_) return;
    QDBusConnection::sessionBus().asyncCall(
        QDBusMessage::createMethodCall(service, path_, requestInterface, QStringLiteral("Close")));
}

void PortalRequest::follow(const QString& path) {
    QDBusConnection bus = QDBusConnection::sessionBus();
    const QString signal = QStringLiteral("Response");
    if (!path_.isEmpty())
        bus.disconnect(service, path_, requestInterface, signal, this, SLOT(respond(uint, QVariantMap)));
    path_ = path;
    bus.connect(service, path_, requestInterface, signal, this, SLOT(respond(uint, QVariantMap)));
}

void PortalRequest::respond(uint code, const QVariantMap& results) {
    constexpr uint success = 0;
    constexpr uint cancelled = 1;
    finish(code == success     ? Outcome::granted
           : code == cancelled ? Outcome::cancelled
                               : Outcome::failed,
           results);
}

void PortalRequest::finish(Outcome outcome, const QVariantMap& results) {
    if (const auto completion = std::exchange(completion_, nullptr)) completion(outcome, results);
}

}  // namespace lumicrate::portal
