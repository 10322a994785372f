// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Desktop/ApplicationInterface.h"

#include "Linux/Desktop/SessionBus.h"
#include "Support/ApplicationId.h"
#include "Support/Log.h"
#include "Support/Text.h"

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusError>
#include <QDBusMessage>
#include <QString>
#include <QStringList>
#include <QTimer>
#include <QUrl>
#include <QVariantMap>
#include <optional>
#include <utility>

namespace lumicrate::desktop {

namespace {

const QString interface = QStringLiteral("org.freedesktop.Application");
// X11's startup identifier, and its newer form, which serves on Wayland as well.
const QString startupIdKey = QStringLiteral("desktop-startup-id");
const QString activationTokenKey = QStringLiteral("activation-token");

std::string startupIdIn(const QVariant& platformData) {
    const auto data = qdbus_cast<QVariantMap>(platformData);
    const QString id = data.value(startupIdKey).toString();
    return (id.isEmpty() ? data.value(activationTokenKey).toString() : id).toStdString();
}

QVariantMap platformData(const std::string& startupId) {
    if (startupId.empty()) return {};
    const QString id = QString::fromStdString(startupId);
    return {{startupIdKey, id}, {activationTokenKey, id}};
}

/// Nothing if any of them is not a local file.
std::optional<ApplicationCall::Open> filesIn(const QStringList& addresses) {
    ApplicationCall::Open open;
    for (const QString& each : addresses) {
        const QUrl url(each);
        if (!url.isLocalFile()) return std::nullopt;
        open.files.emplace_back(url.toLocalFile().toStdString());
    }
    return open;
}

QDBusMessage methodCall(const ApplicationCall& call) {
    const auto method = [](const char* name) {
        return QDBusMessage::createMethodCall(QString::fromLatin1(applicationId),
                                              QString::fromLatin1(applicationObjectPath), interface,
                                              QString::fromLatin1(name));
    };
    QDBusMessage message;
    if (const auto* open = std::get_if<ApplicationCall::Open>(&call.request)) {
        QStringList addresses;
        for (const std::filesystem::path& file : open->files)
            addresses << QString::fromLatin1(
                QUrl::fromLocalFile(QString::fromStdString(file.string())).toEncoded());
        message = method("Open") << addresses;
    } else if (const auto* action = std::get_if<ApplicationCall::Action>(&call.request)) {
        message = method("ActivateAction") << QString::fromStdString(action->name) << QVariantList();
    } else {
        message = method("Activate");
    }
    return message << platformData(call.startupId);
}

}  // namespace

std::string ownStartupId() {
    const QByteArray id = qgetenv("DESKTOP_STARTUP_ID");
    return (id.isEmpty() ? qgetenv("XDG_ACTIVATION_TOKEN") : id).toStdString();
}

bool callRunningApplication(const ApplicationCall& call) {
    if (!sessionBusExists()) return false;
    const QDBusConnection bus = QDBusConnection::sessionBus();
    // Calling an unregistered service would make the bus start it.
    if (!bus.isConnected() || !bus.interface()->isServiceRegistered(QString::fromLatin1(applicationId)))
        return false;
    return bus.call(methodCall(call)).type() == QDBusMessage::ReplyMessage;
}

ApplicationInterface::ApplicationInterface(std::function<bool(const std::string& name)> hasAction,
                                           std::function<void(const ApplicationCall& call)> handle)
    : hasAction_(std::move(hasAction)), handle_(std::move(handle)) {}

QString ApplicationInterface::introspection() {
    return QStringLiteral(
        R"(<interface name="org.freedesktop.Application">)"
        R"(<method name="Activate"><arg type="a{sv}" name="platform_data" direction="in"/></method>)"
        R"(<method name="Open"><arg type="as" name="uris" direction="in"/>)"
        R"(<arg type="a{sv}" name="platform_data" direction="in"/></method>)"
        R"(<method name="ActivateAction"><arg type="s" name="action_name" direction="in"/>)"
        R"(<arg type="av" name="parameter" direction="in"/>)"
        R"(<arg type="a{sv}" name="platform_data" direction="in"/></method>)"
        R"(</interface>)");
}

bool ApplicationInterface::handleMessage(const QDBusMessage& message,
                                         const QDBusConnection& connection) const {
    if (message.interface() != interface) return false;
    const QString call = message.member() + QLatin1Char('(') + message.signature() + QLatin1Char(')');
    const QVariantList arguments = message.arguments();
    const auto refuse = [&](const QString& sentence) {
        return connection.send(message.createErrorReply(QDBusError::InvalidArgs, sentence));
    };
    ApplicationCall asked;
    if (call == QStringLiteral("Open(asa{sv})")) {
        const auto open = filesIn(arguments[0].toStringList());
        // Shown by file managers; unlike the other refusals, which only their programmers see.
        if (!open) return refuse(QString::fromStdString(localized("Only local files can be opened.")));
        asked.request = *open;
    } else if (call == QStringLiteral("ActivateAction(sava{sv})")) {
        const ApplicationCall::Action action{arguments[0].toString().toStdString()};
        if (!hasAction_(action.name)) return refuse(QStringLiteral("There is no such action."));
        asked.request = action;
    } else if (call != QStringLiteral("Activate(a{sv})")) {
        return false;
    }
    asked.startupId = startupIdIn(arguments.last());
    log(LogArea::desktop, "called on the session bus: ", message.member().toStdString());
    connection.send(message.createReply());
    QTimer::singleShot(0, [handle = handle_, asked = std::move(asked)] { handle(asked); });
    return true;
}

}  // namespace lumicrate::desktop
