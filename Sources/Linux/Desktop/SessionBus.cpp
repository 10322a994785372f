// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Desktop/SessionBus.h"

#include "Support/ApplicationId.h"
#include "Support/Log.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusVirtualObject>
#include <QFileInfo>
#include <QString>
#include <QtGlobal>
#include <algorithm>
#include <utility>

namespace lumicrate::desktop {

namespace {

const QString service = QString::fromLatin1(applicationId);
const QString path = QString::fromLatin1(applicationObjectPath);

}  // namespace

bool sessionBusExists() {
    return qEnvironmentVariableIsSet("DBUS_SESSION_BUS_ADDRESS") ||
           QFileInfo::exists(qEnvironmentVariable("XDG_RUNTIME_DIR") + QStringLiteral("/bus"));
}

class BusService::Object final : public QDBusVirtualObject {
 public:
    Object(std::vector<Method> methods, ApplicationInterface application)
        : methods_(std::move(methods)), application_(std::move(application)) {}

    QString introspect(const QString&) const override {
        QString text = QStringLiteral("<interface name=\"%1\">").arg(service);
        for (const Method& each : methods_) {
            text += QStringLiteral("<method name=\"%1\">").arg(QString::fromStdString(each.name));
            if (each.takesText) text += QStringLiteral("<arg name=\"text\" type=\"s\" direction=\"in\"/>");
            if (each.replies) text += QStringLiteral("<arg name=\"text\" type=\"s\" direction=\"out\"/>");
            text += QStringLiteral("</method>");
        }
        return text + QStringLiteral("</interface>") + ApplicationInterface::introspection();
    }

    bool handleMessage(const QDBusMessage& message, const QDBusConnection& connection) override {
        if (application_.handleMessage(message, connection)) return true;
        if (!message.interface().isEmpty() && message.interface() != service) return false;
        const auto method = std::find_if(methods_.begin(), methods_.end(), [&](const Method& each) {
            return message.member() == QString::fromStdString(each.name);
        });
        if (method == methods_.end()) return false;
        const std::string answer = method->call(message.arguments().value(0).toString().toStdString());
        QDBusMessage reply = message.createReply();
        if (method->replies) reply << QString::fromStdString(answer);
        return connection.send(reply);
    }

 private:
    std::vector<Method> methods_;
    ApplicationInterface application_;
};

BusService::BusService(std::vector<Method> methods, ApplicationInterface application)
    : object_(std::make_unique<Object>(std::move(methods), std::move(application))) {}

BusService::~BusService() {
    if (!claimed_) return;
    QDBusConnection bus = QDBusConnection::sessionBus();
    bus.unregisterService(service);
    bus.unregisterObject(path);
}

BusService::Outcome BusService::claim() {
    if (!sessionBusExists() || !QDBusConnection::sessionBus().isConnected()) {
        log(LogArea::desktop, "no session bus");
        return Outcome::noBus;
    }
    QDBusConnection bus = QDBusConnection::sessionBus();
    // Before the name is taken, so that the first caller already finds the object.
    bus.registerVirtualObject(path, object_.get());
    claimed_ = bus.registerService(service);
    log(LogArea::desktop, "session bus: own name ", claimed_ ? "claimed" : "taken by another instance");
    if (claimed_) return Outcome::claimed;
    bus.unregisterObject(path);
    return Outcome::taken;
}

std::optional<std::string> callRunningInstance(const std::string& method,
                                               const std::optional<std::string>& argument) {
    if (!sessionBusExists()) return std::nullopt;
    const QDBusConnection bus = QDBusConnection::sessionBus();
    // Calling an unregistered service would make the bus try to start it.
    if (!bus.isConnected() || !bus.interface()->isServiceRegistered(service)) return std::nullopt;
    QDBusMessage call =
        QDBusMessage::createMethodCall(service, path, service, QString::fromStdString(method));
    if (argument) call << QString::fromStdString(*argument);
    const QDBusMessage reply = bus.call(call);
    if (reply.type() != QDBusMessage::ReplyMessage) return std::nullopt;
    return reply.arguments().value(0).toString().toStdString();
}

}  // namespace lumicrate::desktop
