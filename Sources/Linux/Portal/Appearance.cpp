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
/// Settings that desktops pass on under their own names, also where the portal's own ones are missing.
const QString gnomeInterface = QStringLiteral("org.gnome.desktop.interface");
const QString gnomeAccess = QStringLiteral("org.gnome.desktop.a11y.interface");
const QString kde = QStringLiteral("org.kde.kdeglobals.KDE");

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

/// KDE stores texts: "0" for no animations, "0.5" for fast ones. An unreadable one means 1.
double durationFactor(const QVariant& value) {
    bool isNumber = false;
    const double factor = value.toDouble(&isNumber);
    return isNumber ? factor : 1;
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
            shared.asyncCall(methodCall(portalInterface(interface), QStringLiteral("ReadAll"),
                                        {QStringList{space, gnomeInterface, gnomeAccess, kde}})),
            this);
        connect(asked, &QDBusPendingCallWatcher::finished, this, [this, asked] {
            asked->deleteLater();
            const QDBusMessage reply = asked->reply();
            const bool isRead = reply.type() == QDBusMessage::ReplyMessage &&
                                reply.signature() == QStringLiteral("a{sa{sv}}");
            log(LogArea::desktop, "settings portal: ", isRead ? "read" : "no settings");
            if (isRead) apply(qdbus_cast<Spaces>(reply.arguments().first()));
        });
    }

    const AppearanceSettings& settings() const { return settings_; }

 private:
    /// Values by their names, by namespaces.
    using Spaces = QMap<QString, QVariantMap>;

 private Q_SLOTS:
    void settingChanged(const QString& where, const QString& key, const QDBusVariant& value) {
        Spaces changed;
        changed[where][key] = value.variant();
        apply(changed);
    }

 private:
    /// Calls `read` with the value if it is among `values`.
    template <class Read>
    static void find(const Spaces& values, const QString& where, const char* key, Read read) {
        const QVariantMap all = values.value(where);
        if (const auto found = all.find(QLatin1String(key)); found != all.end()) read(*found);
    }

    void apply(const Spaces& values) {
        AppearanceSettings next = settings_;
        find(values, space, "color-scheme",
             [&](const auto& value) { next.colorScheme = colorScheme(value); });
        find(values, space, "accent-color",
             [&](const auto& value) { next.accentColor = accentColor(value); });
        find(values, space, "contrast", [&](const auto& value) { contrast_.portal = value.toUInt() == 1; });
        find(values, gnomeAccess, "high-contrast",
             [&](const auto& value) { contrast_.gnome = value.toBool(); });
        find(values, space, "reduced-motion",
             [&](const auto& value) { motion_.portal = value.toUInt() == 1; });
        find(values, gnomeInterface, "enable-animations",
             [&](const auto& value) { motion_.gnome = !value.toBool(); });
        find(values, kde, "AnimationDurationFactor",
             [&](const auto& value) { motion_.kde = durationFactor(value) == 0; });
        next.highContrast = contrast_.any();
        next.reducedMotion = motion_.any();
        if (std::exchange(settings_, next) == next) return;
        // A copy: the handler may destroy this.
        const auto changed = changed_;
        changed(next);
    }

    /// Who asks for something.
    struct Requests {
        bool portal = false;
        bool gnome = false;
        bool kde = false;

        bool any() const { return portal || gnome || kde; }
    };

    std::function<void(const AppearanceSettings&)> changed_;
    AppearanceSettings settings_;
    Requests contrast_;
    Requests motion_;
};

Appearance::Appearance(std::function<void(const AppearanceSettings& settings)> changed)
    : follower_(std::make_unique<Follower>(std::move(changed))) {}

Appearance::~Appearance() = default;

const AppearanceSettings& Appearance::settings() const {
    return follower_->settings();
}

}  // namespace lumicrate::portal

#include "Appearance.moc"
