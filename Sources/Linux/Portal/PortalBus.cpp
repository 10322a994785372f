// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Portal/PortalBus.h"

#include "Support/Log.h"

#include <QDBusArgument>
#include <QDBusError>
#include <QDBusPendingCallWatcher>
#include <QFileInfo>
#include <QUuid>
#include <memory>

namespace lumicrate::portal {

namespace {

QDBusMessage disconnected() {
    return QDBusMessage::createError(QDBusError::Disconnected, QStringLiteral("no session bus"));
}

/// Without an address the D-Bus library would start a bus of its own.
bool sessionBusExists() {
    return qEnvironmentVariableIsSet("DBUS_SESSION_BUS_ADDRESS") ||
           QFileInfo::exists(qEnvironmentVariable("XDG_RUNTIME_DIR") + QStringLiteral("/bus"));
}

}  // namespace

bool isSandboxed() {
    return QFileInfo::exists(QStringLiteral("/.flatpak-info")) || qEnvironmentVariableIsSet("SNAP");
}

QDBusConnection bus() {
    const QString name = QStringLiteral("lumicrate-portal");
    const QDBusConnection known(name);
    if (known.isConnected() || !sessionBusExists()) return known;
    return QDBusConnection::connectToBus(QDBusConnection::SessionBus, name);
}

QString portalInterface(const QString& interface) {
    return QStringLiteral("org.freedesktop.portal.") + interface;
}

QDBusMessage methodCall(const QString& interface, const QString& method, const QVariantList& arguments) {
    QDBusMessage call = QDBusMessage::createMethodCall(service, objectPath, interface, method);
    call.setArguments(arguments);
    return call;
}

QString newToken() {
    return QStringLiteral("lumicrate_") + QUuid::createUuid().toString(QUuid::Id128);
}

QString objectPathFor(const QString& kind, const QString& token) {
    QString sender = bus().baseService().mid(1);
    sender.replace(QLatin1Char('.'), QLatin1Char('_'));
    return QStringLiteral("%1/%2/%3/%4").arg(objectPath, kind, sender, token);
}

void closeObject(const QString& interface, const QString& path) {
    QDBusMessage call =
        QDBusMessage::createMethodCall(service, path, portalInterface(interface), QStringLiteral("Close"));
    call.setAutoStartService(false);
    bus().send(call);
}

bool isPortalMissing(const QDBusMessage& reply) {
    if (reply.type() != QDBusMessage::ErrorMessage) return false;
    switch (QDBusError(reply).type()) {
        case QDBusError::Disconnected:
        case QDBusError::NoReply:
        case QDBusError::ServiceUnknown:
            return true;
        default:
            // The bus could not start the portal.
            return reply.errorName().startsWith(QStringLiteral("org.freedesktop.DBus.Error.Spawn."));
    }
}

bool isMethodMissing(const QDBusMessage& reply) {
    if (isPortalMissing(reply)) return true;
    if (reply.type() != QDBusMessage::ErrorMessage) return false;
    const QDBusError::ErrorType type = QDBusError(reply).type();
    return type == QDBusError::UnknownInterface || type == QDBusError::UnknownMethod ||
           type == QDBusError::UnknownObject;
}

Task<QDBusMessage> send(Executor& executor, QDBusMessage call, std::chrono::milliseconds timeout) {
    const QDBusConnection connection = bus();
    if (!connection.isConnected()) co_return disconnected();
    const QDBusPendingCallWatcher watcher(connection.asyncCall(call, static_cast<int>(timeout.count())));
    const Completion<bool> answered(executor);
    QObject::connect(&watcher, &QDBusPendingCallWatcher::finished, &watcher,
                     [answered] { answered.resolve(true); });
    co_await answered;
    const QDBusMessage reply = watcher.reply();
    if (reply.type() == QDBusMessage::ErrorMessage)
        log(LogArea::desktop, "portal: ", call.member().toStdString(), ": ",
            reply.errorMessage().toStdString());
    co_return reply;
}

QDBusMessage sendAndWait(const QDBusMessage& call, std::chrono::milliseconds timeout) {
    const QDBusConnection connection = bus();
    if (!connection.isConnected()) return disconnected();
    return connection.call(call, QDBus::Block, static_cast<int>(timeout.count()));
}

QDBusMessage propertiesCall(const QString& interface) {
    return methodCall(QStringLiteral("org.freedesktop.DBus.Properties"), QStringLiteral("GetAll"),
                      {portalInterface(interface)});
}

QVariantMap propertiesIn(const QDBusMessage& reply) {
    if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().isEmpty()) return {};
    return qdbus_cast<QVariantMap>(reply.arguments().first());
}

}  // namespace lumicrate::portal
