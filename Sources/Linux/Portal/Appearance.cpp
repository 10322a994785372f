// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Portal/Appearance.h"

#include "Linux/Portal/PortalBus.h"
#include "Support/Log.h"

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusPendingCallWatcher>
#include <QDBusVariant>
#include <QMap>
#include <QObject>
#include <QStringList>
#include <algorithm>
#include <array>
#include <utility>

namespace lumicrate::portal {

namespace {

const QString interface = QStringLiteral("Settings");
const QString space = QStringLiteral("org.freedesktop.appearance");

/// Values that the portal does not define mean "no preference".
ColorScheme colorScheme(const QVariant& value) {
    switch (value.toUInt()) {
        case 1:
            return ColorScheme::dark;
        case 2:
            return ColorScheme::light;
        default:
            return ColorScheme::noPreference;
    }
}

/// The portal's type is (ddd). Components out of range mean that there is no accent color.
std::optional<AccentColor> accentColor(const QVariant& value) {
    if (!value.canConvert<QDBusArgument>()) return std::nullopt;
    const auto argument = value.value<QDBusArgument>();
    if (argument.currentSignature() != QStringLiteral("(ddd)")) return std::nullopt;
    std::array<double, 3> components{};
    argument.beginStructure();
    for (double& each : components)
        argument >> each;
    argument.endStructure();
    if (!std::ranges::all_of(components, [](double each) { return each >= 0 && each <= 1; }))
        return std::nullopt;
    return AccentColor{components[0], components[1], components[2]};
}

}  // namespace

class Appearance::Follower final : public QObject {
    Q_OBJECT

 public:
    explicit Follower(std::function<void(const AppearanceSettings&)> changed) : changed_(std::move(changed)) {
        QDBusConnection shared = QDBusConnection::sessionBus();
        if (!shared.isConnected()) return;
        shared.connect(service, objectPath, portalInterface(interface), QStringLiteral("SettingChanged"),
                       this, SLOT(settingChanged(QString, QString, QDBusVariant)));
        auto* const asked = new QDBusPendingCallWatcher(
            shared.asyncCall(
                methodCall(portalInterface(interface), QStringLiteral("ReadAll"), {QStringList(space)})),
            this);
        connect(asked, &QDBusPendingCallWatcher::finished, this, [this, asked] {
            asked->deleteLater();
            const QDBusMessage reply = asked->reply();
            const bool isRead = reply.type() == QDBusMessage::ReplyMessage &&
                                reply.signature() == QStringLiteral("a{sa{sv}}");
            log(LogArea::desktop, "settings portal: ", isRead ? "read" : "no settings");
            if (isRead) apply(qdbus_cast<QMap<QString, QVariantMap>>(reply.arguments().first()).value(space));
        });
    }

    const AppearanceSettings& settings() const { return settings_; }

 private Q_SLOTS:
    void settingChanged(const QString& where, const QString& key, const QDBusVariant& value) {
        if (where == space) apply({{key, value.variant()}});
    }

 private:
    void apply(const QVariantMap& values) {
        AppearanceSettings next = settings_;
        for (auto each = values.begin(); each != values.end(); ++each) {
            if (each.key() == QStringLiteral("color-scheme")) next.colorScheme = colorScheme(*each);
            if (each.key() == QStringLiteral("accent-color")) next.accentColor = accentColor(*each);
            if (each.key() == QStringLiteral("contrast")) next.highContrast = each->toUInt() == 1;
            if (each.key() == QStringLiteral("reduced-motion")) next.reducedMotion = each->toUInt() == 1;
        }
        if (std::exchange(settings_, next) == next) return;
        // A copy: the handler may destroy this.
        const auto changed = changed_;
        changed(next);
    }

    std::function<void(const AppearanceSettings&)> changed_;
    AppearanceSettings settings_;
};

Appearance::Appearance(std::function<void(const AppearanceSettings& settings)> changed)
    : follower_(std::make_unique<Follower>(std::move(changed))) {}

Appearance::~Appearance() = default;

const AppearanceSettings& Appearance::settings() const {
    return follower_->settings();
}

}  // namespace lumicrate::portal

#include "Appearance.moc"
