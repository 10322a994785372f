// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Portal/GlobalShortcutsPortal.h"

#include "Linux/Portal/PortalError.h"
#include "Linux/Portal/PortalSession.h"
#include "Support/Log.h"

#include <QDBusArgument>
#include <QDBusMetaType>
#include <QDBusObjectPath>
#include <QPointer>
#include <array>
#include <utility>

namespace lumicrate::portal {

namespace {

using Outcome = Answer::Outcome;

/// Plasma 5.27 stores the keys of a program without an application id under this, so it is always the same:
/// under another one the program would get no keys, because the earlier one still has them.
const QString usualToken = QStringLiteral("lumicrate");
const QString interface = QStringLiteral("GlobalShortcuts");

[[noreturn]] void throwUnavailable(const char* sentence) {
    throw PortalError(PortalError::Reason::unavailable, localized(sentence));
}

}  // namespace

/// The portal's (sa{sv}).
struct ShortcutEntry {
    QString id;
    QVariantMap properties;
};

QDBusArgument& operator<<(QDBusArgument& argument, const ShortcutEntry& entry) {
    argument.beginStructure();
    argument << entry.id << entry.properties;
    argument.endStructure();
    return argument;
}

const QDBusArgument& operator>>(const QDBusArgument& argument, ShortcutEntry& entry) {
    argument.beginStructure();
    argument >> entry.id >> entry.properties;
    argument.endStructure();
    return argument;
}

namespace {

QVariant entriesOf(const std::vector<GlobalShortcut>& shortcuts) {
    qDBusRegisterMetaType<ShortcutEntry>();
    qDBusRegisterMetaType<QList<ShortcutEntry>>();
    QList<ShortcutEntry> entries;
    for (const GlobalShortcut& each : shortcuts) {
        QVariantMap properties{{QStringLiteral("description"), QString::fromStdString(each.description)}};
        if (!each.preferredTrigger.empty())
            properties.insert(QStringLiteral("preferred_trigger"),
                              QString::fromStdString(each.preferredTrigger));
        entries.append({QString::fromStdString(each.id), properties});
    }
    return QVariant::fromValue(entries);
}

std::vector<BoundShortcut> boundIn(const QVariant& value) {
    std::vector<BoundShortcut> bound;
    for (const ShortcutEntry& each : qdbus_cast<QList<ShortcutEntry>>(value))
        bound.push_back(
            {each.id.toStdString(),
             each.properties.value(QStringLiteral("trigger_description")).toString().toStdString()});
    return bound;
}

std::vector<BoundShortcut> boundIn(const Answer& answer) {
    return boundIn(answer.results.value(QStringLiteral("shortcuts")));
}

}  // namespace

class GlobalShortcuts::Delivery final : public QObject {
    Q_OBJECT

 public:
    Delivery(Executor& executor, const QString& token)
        : session(executor, interface, token), executor_(executor) {
        QDBusConnection connection = bus();
        const QString name = portalInterface(interface);
        connection.connect(service, objectPath, name, QStringLiteral("Activated"), this,
                           SLOT(activated(QDBusObjectPath, QString)));
        connection.connect(service, objectPath, name, QStringLiteral("ShortcutsChanged"), this,
                           SLOT(shortcutsChanged(QDBusMessage)));
    }

    PortalSession session;
    std::vector<BoundShortcut> bound;
    std::function<void(const std::string&)> onActivated;
    std::function<void()> onChanged;

 private Q_SLOTS:
    void activated(const QDBusObjectPath& path, const QString& id) {
        if (path.path() != session.path()) return;
        executor_.post([delivery = QPointer<Delivery>(this), id = id.toStdString()] {
            if (delivery.isNull()) return;
            // A copy: the handler may destroy the delivery.
            if (const auto handler = delivery->onActivated) handler(id);
        });
    }
    void shortcutsChanged(const QDBusMessage& signal) {
        const QVariantList arguments = signal.arguments();
        if (arguments.value(0).value<QDBusObjectPath>().path() != session.path()) return;
        bound = boundIn(arguments.value(1));
        executor_.post([delivery = QPointer<Delivery>(this)] {
            if (delivery.isNull()) return;
            if (const auto handler = delivery->onChanged) handler();
        });
    }

 private:
    Executor& executor_;
};

GlobalShortcuts::GlobalShortcuts(std::unique_ptr<Delivery> delivery) : delivery_(std::move(delivery)) {}
GlobalShortcuts::GlobalShortcuts(GlobalShortcuts&&) noexcept = default;
GlobalShortcuts& GlobalShortcuts::operator=(GlobalShortcuts&&) noexcept = default;
GlobalShortcuts::~GlobalShortcuts() = default;

const std::vector<BoundShortcut>& GlobalShortcuts::bound() const {
    return delivery_->bound;
}

void GlobalShortcuts::setOnActivated(std::function<void(const std::string& id)> handler) {
    delivery_->onActivated = std::move(handler);
}

void GlobalShortcuts::setOnChanged(std::function<void()> handler) {
    delivery_->onChanged = std::move(handler);
}

void GlobalShortcuts::setOnClosed(std::function<void()> handler) {
    delivery_->session.setOnClosed(std::move(handler));
}

GlobalShortcutsPortal::GlobalShortcutsPortal(Executor& executor, Registry& registry,
                                             std::chrono::milliseconds timeout)
    : executor_(executor), registry_(registry), timeout_(timeout) {}

bool GlobalShortcutsPortal::isAvailable() {
    return !propertiesIn(sendAndWait(propertiesCall(interface), blockingTimeout)).isEmpty();
}

Task<std::optional<GlobalShortcuts>> GlobalShortcutsPortal::bind(std::vector<GlobalShortcut> shortcuts,
                                                                 std::string parentWindow) {
    Task<> enrolling = registry_.enroll();
    co_await enrolling;
    const QVariant entries = entriesOf(shortcuts);
    std::unique_ptr<GlobalShortcuts::Delivery> delivery;
    Answer answer;
    const std::array tokens{usualToken, newToken()};
    for (const QString& token : tokens) {
        delivery = std::make_unique<GlobalShortcuts::Delivery>(executor_, token);
        // Plasma 5.27 binds the shortcuts that it finds here; newer portals ignore them.
        Task<Answer> creating = delivery->session.create({{QStringLiteral("shortcuts"), entries}}, timeout_);
        answer = co_await creating;
        // The token may be in use by a session that has not ended yet.
        if (answer.outcome != Outcome::failed) break;
    }
    if (answer.isGranted()) {
        Task<Answer> binding = delivery->session.ask(
            QStringLiteral("BindShortcuts"), {entries, QString::fromStdString(parentWindow)}, {}, noTimeout);
        answer = co_await binding;
    }
    switch (answer.outcome) {
        case Outcome::granted:
            break;
        case Outcome::cancelled:
            co_return std::nullopt;
        case Outcome::failed:
            throw PortalError(PortalError::Reason::failed,
                              localized("The desktop refused to set up global shortcuts."));
        case Outcome::timedOut:
            throwUnavailable(translatable("The desktop portal does not answer."));
        case Outcome::unavailable:
            throwUnavailable(translatable("This desktop offers no global shortcuts to programs."));
    }
    delivery->bound = boundIn(answer);
    if (delivery->bound.empty()) {
        // Plasma 5.27 may answer so although it has bound them.
        Task<Answer> listing = delivery->session.ask(QStringLiteral("ListShortcuts"), {}, {}, timeout_);
        answer = co_await listing;
        delivery->bound = boundIn(answer);
    }
    log(LogArea::input, "portal: ", delivery->bound.size(), " of ", shortcuts.size(), " shortcut(s) bound");
    co_return GlobalShortcuts(std::move(delivery));
}

}  // namespace lumicrate::portal

#include "GlobalShortcutsPortal.moc"
#include "Support/Text.h"
