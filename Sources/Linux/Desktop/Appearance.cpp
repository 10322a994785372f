// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Desktop/Appearance.h"

#include "Linux/Desktop/SessionBus.h"
#include "Support/Log.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusVariant>
#include <QObject>
#include <QString>
#include <QVariant>
#include <utility>

namespace lumicrate::desktop {

namespace {

const QString service = QStringLiteral("org.freedesktop.portal.Desktop");
const QString path = QStringLiteral("/org/freedesktop/portal/desktop");
const QString settings = QStringLiteral("org.freedesktop.portal.Settings");
const QString appearance = QStringLiteral("org.freedesktop.appearance");
const QString colorScheme = QStringLiteral("color-scheme");

/// The portal's value for "prefer dark".
constexpr unsigned prefersDark = 1;

/// Older portals wrap the value in two variants.
QVariant unwrapped(QVariant value) {
    while (value.canConvert<QDBusVariant>())
        value = value.value<QDBusVariant>().variant();
    return value;
}

}  // namespace

class Appearance::Portal final : public QObject {
    Q_OBJECT

 public:
    explicit Portal(std::function<void(bool)> changed) : changed_(std::move(changed)) {
        QDBusConnection bus = QDBusConnection::sessionBus();
        bus.connect(service, path, settings, QStringLiteral("SettingChanged"), this,
                    SLOT(settingChanged(QString, QString, QDBusVariant)));
        QDBusMessage question =
            QDBusMessage::createMethodCall(service, path, settings, QStringLiteral("Read"));
        question << appearance << colorScheme;
        auto* watcher = new QDBusPendingCallWatcher(bus.asyncCall(question), this);
        connect(watcher, &QDBusPendingCallWatcher::finished, this, [this, watcher] {
            const QDBusPendingReply<QDBusVariant> reply = *watcher;
            watcher->deleteLater();
            log(LogArea::desktop,
                "settings portal: ", reply.isError() ? "no color scheme" : "color scheme read");
            if (!reply.isError()) apply(reply.value().variant());
        });
    }

 private Q_SLOTS:
    void settingChanged(const QString& space, const QString& key, const QDBusVariant& value) {
        if (space == appearance && key == colorScheme) apply(value.variant());
    }

 private:
    void apply(const QVariant& value) {
        const bool dark = unwrapped(value).toUInt() == prefersDark;
        if (std::exchange(dark_, dark) != dark) changed_(dark);
    }

    std::function<void(bool)> changed_;
    bool dark_ = false;
};

Appearance::Appearance(std::function<void(bool dark)> changed) {
    if (sessionBusExists()) portal_ = std::make_unique<Portal>(std::move(changed));
}

Appearance::~Appearance() = default;

}  // namespace lumicrate::desktop

#include "Appearance.moc"
