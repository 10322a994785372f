// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Desktop/UserNotifications.h"

#include "Linux/Desktop/ServiceCall.h"
#include "Linux/Desktop/SessionBus.h"
#include "Support/ApplicationId.h"
#include "Support/Log.h"

#include <QObject>
#include <QStringList>
#include <QVariantMap>
#include <cstddef>
#include <cstdint>
#include <utility>

namespace lumicrate::desktop {

namespace {

const QString service = QStringLiteral("org.freedesktop.Notifications");
const QString path = QStringLiteral("/org/freedesktop/Notifications");

/// The action of a click on the notification itself.
const QString clicked = QStringLiteral("default");

constexpr std::uint8_t lowUrgency = 0;
constexpr std::uint8_t normalUrgency = 1;
constexpr std::uint8_t criticalUrgency = 2;
constexpr int expiresAsUsual = -1;

QDBusMessage method(const char* name) {
    return QDBusMessage::createMethodCall(service, path, service, QString::fromLatin1(name));
}

/// Keys and titles alternate. The key of an action is its place.
QStringList actionList(const std::vector<UNNotificationAction>& actions) {
    QStringList list;
    for (std::size_t i = 0; i < actions.size(); ++i) {
        const QString title = QString::fromStdString(actions[i].title);
        if (i == 0) list << clicked << title;
        list << QString::number(i) << title;
    }
    return list;
}

}  // namespace

class UserNotifications::Service final : public QObject {
    Q_OBJECT

 public:
    Service() {
        QDBusConnection bus = QDBusConnection::sessionBus();
        bus.connect(service, path, service, QStringLiteral("ActionInvoked"), this,
                    SLOT(actionInvoked(uint, QString)));
        bus.connect(service, path, service, QStringLiteral("NotificationClosed"), this,
                    SLOT(notificationClosed(uint, uint)));
        callService<QStringList>(method("GetCapabilities"), this,
                                 [this](const QDBusPendingReply<QStringList>& reply) {
                                     if (reply.isError()) {
                                         log(LogArea::desktop, "no notification service");
                                     } else {
                                         capabilities_ = reply.value();
                                     }
                                     answered_ = true;
                                     if (waiting_) add(*std::exchange(waiting_, std::nullopt));
                                 });
    }

    void add(UNNotificationRequest request) {
        if (!answered_) {
            waiting_ = std::move(request);
            return;
        }
        const bool showsActions = capabilities_.contains(QStringLiteral("actions"));
        QString body = QString::fromStdString(request.body);
        if (capabilities_.contains(QStringLiteral("body-markup"))) body = body.toHtmlEscaped();
        QDBusMessage call = method("Notify");
        call << QStringLiteral("Lumicrate") << id_ << QString::fromLatin1(applicationId)
             << QString::fromStdString(request.title) << body
             << (showsActions ? actionList(request.actions) : QStringList())
             << QVariantMap{{QStringLiteral("urgency"),
                             QVariant::fromValue(request.isUrgent  ? criticalUrgency
                                                 : request.isQuiet ? lowUrgency
                                                                   : normalUrgency)},
                            {QStringLiteral("desktop-entry"), QString::fromLatin1(applicationId)}}
             << expiresAsUsual;
        actions_ = std::move(request.actions);
        callService<std::uint32_t>(
            call, this, [this, number = ++lastNumber_](const QDBusPendingReply<std::uint32_t>& reply) {
                log(LogArea::desktop, "notification: ", reply.isError() ? "not shown" : "shown");
                if (reply.isError()) return;
                // Meanwhile it was removed, or another one was added.
                if (number != lastNumber_) return close(reply.value());
                id_ = reply.value();
            });
    }

    void remove() {
        waiting_.reset();
        ++lastNumber_;
        if (const std::uint32_t id = std::exchange(id_, 0)) close(id);
    }

 private Q_SLOTS:
    void actionInvoked(uint id, const QString& key) {
        if (id != id_ || id == 0) return;
        const std::size_t place = key == clicked ? 0 : key.toUInt();
        if (place >= actions_.size()) return;
        // The action may add another notification.
        const auto chosen = std::exchange(actions_, {})[place].chosen;
        if (chosen) chosen();
    }
    void notificationClosed(uint id, uint) {
        if (id == id_) id_ = 0;
    }

 private:
    static void close(std::uint32_t id) {
        QDBusMessage call = method("CloseNotification");
        call << id;
        QDBusConnection::sessionBus().send(call);
    }

    std::optional<UNNotificationRequest> waiting_;  ///< for the capabilities
    bool answered_ = false;
    QStringList capabilities_;
    std::vector<UNNotificationAction> actions_;
    std::uint64_t lastNumber_ = 0;
    std::uint32_t id_ = 0;  ///< of the service; 0 if no notification is known to be shown
};

UserNotifications::UserNotifications() = default;

UserNotifications::~UserNotifications() {
    removeAllDeliveredNotifications();
}

void UserNotifications::add(UNNotificationRequest request) {
    if (!service_) {
        if (!sessionBusExists() || !QDBusConnection::sessionBus().isConnected()) return;
        service_ = std::make_unique<Service>();
    }
    service_->add(std::move(request));
}

void UserNotifications::removeAllDeliveredNotifications() {
    if (service_) service_->remove();
}

}  // namespace lumicrate::desktop

#include "UserNotifications.moc"
