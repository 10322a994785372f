// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Desktop/SessionBus.h"

#include "Support/ApplicationId.h"
#include "Support/Log.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusError>
#include <QDBusMessage>
#include <QDBusServiceWatcher>
#include <QDBusVirtualObject>
#include <QFileInfo>
#include <QString>
#include <QStringList>
#include <QtGlobal>
#include <algorithm>
#include <utility>

namespace lumicrate::desktop {

namespace {

const QString service = QString::fromLatin1(applicationId);
const QString path = QString::fromLatin1(applicationObjectPath);
const QString propertiesInterface = QStringLiteral("org.freedesktop.DBus.Properties");

}  // namespace

bool sessionBusExists() {
    return qEnvironmentVariableIsSet("DBUS_SESSION_BUS_ADDRESS") ||
           QFileInfo::exists(qEnvironmentVariable("XDG_RUNTIME_DIR") + QStringLiteral("/bus"));
}

std::string ownInterfaceName(const std::string& member) {
    return service.toStdString() + "." + member + "1";
}

class BusService::Object final : public QDBusVirtualObject {
 public:
    Object(std::vector<BusInterface> interfaces, ApplicationInterface application)
        : interfaces_(std::move(interfaces)), application_(std::move(application)) {}

    QString introspect(const QString&) const override {
        std::string text;
        for (const BusInterface& each : interfaces_)
            text += each.introspection();
        return QString::fromStdString(text) + ApplicationInterface::introspection();
    }

    bool handleMessage(const QDBusMessage& message, const QDBusConnection& connection) override {
        return application_.handleMessage(message, connection) ||
               std::ranges::any_of(
                   interfaces_, [&](const BusInterface& each) { return each.handle(message, connection); });
    }

 private:
    std::vector<BusInterface> interfaces_;
    ApplicationInterface application_;
};

BusService::BusService(std::vector<BusInterface> interfaces, ApplicationInterface application)
    : object_(std::make_unique<Object>(std::move(interfaces), std::move(application))) {}

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

void BusService::send(const std::string& interface, const std::string& event,
                      const QVariantList& arguments) const {
    if (!claimed_) return;
    QDBusMessage message =
        QDBusMessage::createSignal(path, QString::fromStdString(interface), QString::fromStdString(event));
    message.setArguments(arguments);
    QDBusConnection::sessionBus().send(message);
}

void BusService::announce(const std::string& interface, const QVariantMap& values) const {
    send(propertiesInterface.toStdString(), "PropertiesChanged",
         {QString::fromStdString(interface), values, QStringList()});
}

namespace {

/// Nothing if no instance can be reached.
std::optional<QDBusMessage> call(const QString& interface, const QString& method,
                                 const QVariantList& arguments) {
    if (!sessionBusExists()) return std::nullopt;
    const QDBusConnection bus = QDBusConnection::sessionBus();
    // Calling an unregistered service would make the bus try to start it.
    if (!bus.isConnected() || !bus.interface()->isServiceRegistered(service)) return std::nullopt;
    QDBusMessage message = QDBusMessage::createMethodCall(service, path, interface, method);
    message.setArguments(arguments);
    return bus.call(message);
}

}  // namespace

bool callRunningInstance(const std::string& interface, const std::string& method,
                         const QVariantList& arguments) {
    const auto reply = call(QString::fromStdString(interface), QString::fromStdString(method), arguments);
    if (!reply) return false;
    if (reply->type() == QDBusMessage::ReplyMessage) return true;
    // It has ended meanwhile, or does not answer.
    const QDBusError::ErrorType error = QDBusError(*reply).type();
    if (error == QDBusError::ServiceUnknown || error == QDBusError::NoReply ||
        error == QDBusError::Disconnected)
        return false;
    throw BusError(reply->errorName().toStdString(), reply->errorMessage().toStdString());
}

std::optional<QVariantMap> runningInstanceProperties(const std::string& interface) {
    const auto reply =
        call(propertiesInterface, QStringLiteral("GetAll"), {QString::fromStdString(interface)});
    if (!reply || reply->type() != QDBusMessage::ReplyMessage) return std::nullopt;
    return qdbus_cast<QVariantMap>(reply->arguments().value(0));
}

InstanceWatch::InstanceWatch(const std::string& interface, std::function<void(const QVariantMap&)> changed,
                             std::function<void()> ended)
    : interface_(QString::fromStdString(interface)), changed_(std::move(changed)), ended_(std::move(ended)) {
    QDBusConnection bus = QDBusConnection::sessionBus();
    bus.connect(service, path, propertiesInterface, QStringLiteral("PropertiesChanged"), this,
                SLOT(receive(QString, QVariantMap)));
    auto* owner = new QDBusServiceWatcher(service, bus, QDBusServiceWatcher::WatchForUnregistration, this);
    connect(owner, &QDBusServiceWatcher::serviceUnregistered, this, &InstanceWatch::endWithService);
}

void InstanceWatch::receive(const QString& interface, const QVariantMap& values) {
    if (interface == interface_) changed_(values);
}

void InstanceWatch::endWithService() {
    ended_();
}

}  // namespace lumicrate::desktop
