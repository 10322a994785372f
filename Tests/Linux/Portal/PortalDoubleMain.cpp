// SPDX-License-Identifier: GPL-3.0-or-later
// lumicrate-portal-double: stands in for the desktop portal on a private bus, and does as it is told.
//
//     lumicrate-portal-double [KEY=VALUE…]
//
// Prints "ready" and serves until it is killed. A key that is the name of a portal's method (Start,
// BindShortcuts, AccessCamera, …) says how that is answered: "granted" (the default), "cancelled", "failed",
// "waiting" (for a user who does not answer), "error" (a D-Bus error), "silent" (no reply at all) or "vanish"
// (the portal leaves the bus). Other keys are in `keys` below. While it runs, the object / of
// org.lumicrate.PortalDouble takes commands, each with strings only:
//
//     Set KEY VALUE · Calls → the calls since the last time · Activate ID · Rebind ID TRIGGER
//     CloseSessions · Vanish · Return · Reset (all values and callers are forgotten)
//     WakeUp (logind's signal after a sleep; the bus must be the system's, too)
#include <sys/socket.h>
#include <sys/un.h>

#include <QCoreApplication>
#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusObjectPath>
#include <QDBusUnixFileDescriptor>
#include <QDBusVariant>
#include <QDBusVirtualObject>
#include <QMap>
#include <QPoint>
#include <QSize>
#include <algorithm>
#include <cstdio>
#include <utility>

namespace {

/// The portal's (sa{sv}) and (ua{sv}).
template <class Name>
struct Entry {
    Name name{};
    QVariantMap properties;
};
using Shortcut = Entry<QString>;
using Stream = Entry<uint>;

struct Color {
    double red = 0;
    double green = 0;
    double blue = 0;
};

template <class Name>
QDBusArgument& operator<<(QDBusArgument& argument, const Entry<Name>& value) {
    argument.beginStructure();
    argument << value.name << value.properties;
    argument.endStructure();
    return argument;
}
template <class Name>
const QDBusArgument& operator>>(const QDBusArgument& argument, Entry<Name>& value) {
    argument.beginStructure();
    argument >> value.name >> value.properties;
    argument.endStructure();
    return argument;
}
QDBusArgument& operator<<(QDBusArgument& argument, const Color& value) {
    argument.beginStructure();
    argument << value.red << value.green << value.blue;
    argument.endStructure();
    return argument;
}
const QDBusArgument& operator>>(const QDBusArgument& argument, Color&) {
    return argument;  // never received
}

const QString portalService = QStringLiteral("org.freedesktop.portal.Desktop");
const QString portalPath = QStringLiteral("/org/freedesktop/portal/desktop");
const QString prefix = QStringLiteral("org.freedesktop.portal.");
const QString control = QStringLiteral("org.lumicrate.PortalDouble");

/// With their default values. An empty value leaves out what the key stands for.
const QMap<QString, QString> keys{
    {"version", "5"},         // of every interface
    {"sources", "3"},         // AvailableSourceTypes
    {"cursors", "7"},         // AvailableCursorModes; a mode outside of them is an error
    {"node", "42"},           // PipeWire node of the stream
    {"serial", ""},           // and its pipewire-serial
    {"size", "1280x720"},     // of the stream, in points; its position is always 0,0
    {"source", "1"},          // source_type of the stream
    {"token", "token-2"},     // restore_token that Start returns
    {"valid", "token-1"},     // the only restore_token that does not make Start fail
    {"registry", "accepts"},  // "requires": shortcuts need an application id; "missing": no Registry
    {"binds", "all"},         // "none", or "early": those in CreateSession, but the answer is empty
    {"color-scheme", "0"},   {"contrast", "0"}, {"reduced-motion", "0"}, {"accent-color", ""},  // "0.2,0.4,1"
};

class Portal final : public QDBusVirtualObject {
 public:
    explicit Portal(const QMap<QString, QString>& arguments) : arguments_(arguments), values_(arguments) {}

    bool serve() {
        bus_.registerVirtualObject("/", this, QDBusConnection::SubPath);
        return bus_.registerService(control) && bus_.registerService("org.freedesktop.login1") &&
               bus_.registerService(portalService);
    }
    QString introspect(const QString&) const override { return {}; }
    bool handleMessage(const QDBusMessage& call, const QDBusConnection&) override {
        if (call.interface() == control) return command(call);
        note(call);
        const QString member = call.member();
        const QString behaviour = value(member);
        if (behaviour == "silent") return true;
        if (behaviour == "vanish") {
            vanish();
            return true;
        }
        if (behaviour == "error") return refuse(call, "Failed");
        if (member == "GetAll") return reply(call, properties(call.arguments().value(0).toString()));
        if (member == "Register") return enroll(call);
        if (!known_.contains(call.service())) known_.insert(call.service(), {});
        if (member == "ReadAll") return reply(call, QVariant::fromValue(settings()));
        if (member == "OpenPipeWireRemote") return reply(call, QVariant::fromValue(connectToPipeWire()));
        if (member == "Close") {
            sessions_.remove(call.path());
            return bus_.send(call.createReply());
        }
        return answer(call, behaviour);
    }

 private:
    QString value(const QString& key) const { return values_.value(key, keys.value(key)); }
    uint number(const QString& key) const { return value(key).toUInt(); }

    bool reply(const QDBusMessage& call, const QVariant& result) const {
        return bus_.send(call.createReply(result));
    }
    bool refuse(const QDBusMessage& call, const QString& error) const {
        return bus_.send(call.createErrorReply(prefix + "Error." + error, error));
    }

    /// "Start path=… 'x11:1' restore_token=token-1": strings and numbers of the call, its options sorted.
    void note(const QDBusMessage& call) {
        QString line = call.member();
        if (line == "Close") line += call.path().contains("/session/") ? " session" : " request";
        for (const QVariant& each : call.arguments()) {
            if (each.userType() == QMetaType::QString) line += " '" + each.toString() + "'";
            if (each.userType() == QMetaType::UInt) line += " " + each.toString();
            if (each.userType() != qMetaTypeId<QDBusArgument>()) continue;
            if (each.value<QDBusArgument>().currentSignature() != "a{sv}") continue;
            const auto options = qdbus_cast<QVariantMap>(each);
            for (auto option = options.begin(); option != options.end(); ++option)
                if (!option.key().endsWith("_token") || option.key() == "restore_token")
                    line += " " + option.key() + "=" + option->toString();
        }
        calls_ += line;
    }

    QVariantMap properties(const QString& interface) const {
        QVariantMap all{{"version", number("version")}};
        if (interface == prefix + "ScreenCast")
            all.insert(
                {{"AvailableSourceTypes", number("sources")}, {"AvailableCursorModes", number("cursors")}});
        if (interface == prefix + "Camera") all.insert("IsCameraPresent", true);
        return all;
    }

    QVariantMap appearance() const {
        QVariantMap all;
        for (const char* key : {"color-scheme", "contrast", "reduced-motion"})
            if (!value(key).isEmpty()) all.insert(key, number(key));
        const QStringList parts = value("accent-color").split(',');
        if (parts.size() == 3)
            all.insert("accent-color", QVariant::fromValue(Color{parts[0].toDouble(), parts[1].toDouble(),
                                                                 parts[2].toDouble()}));
        return all;
    }

    /// Values whose keys are a namespace and a name, with a space between, are those of a desktop.
    QMap<QString, QVariantMap> settings() const {
        QMap<QString, QVariantMap> all{{"org.freedesktop.appearance", appearance()}};
        for (auto each = values_.begin(); each != values_.end(); ++each) {
            if (const QStringList words = each.key().split(' '); words.size() == 2)
                all[words[0]][words[1]] =
                    *each == "true" || *each == "false" ? *each == "true" : QVariant(*each);
        }
        return all;
    }

    bool enroll(const QDBusMessage& call) {
        if (value("registry") == "missing")
            return bus_.send(call.createErrorReply("org.freedesktop.DBus.Error.UnknownMethod", "none"));
        // As the real one: only before any other call, properties excepted.
        if (known_.contains(call.service())) return refuse(call, "InvalidArgument");
        known_.insert(call.service(), call.arguments().value(0).toString());
        return bus_.send(call.createReply());
    }

    /// A call with a request object.
    bool answer(const QDBusMessage& call, const QString& behaviour) {
        const QString caller = call.service().mid(1).replace('.', '_');
        const auto options = qdbus_cast<QVariantMap>(call.arguments().last());
        const auto object = [&](const char* kind, const char* key) {
            return portalPath + "/" + kind + "/" + caller + "/" + options.value(key).toString();
        };
        uint code = behaviour == "cancelled" ? 1 : behaviour == "failed" ? 2 : 0;
        QVariantMap results;
        if (call.member() == "CreateSession") {
            if (call.interface().endsWith("GlobalShortcuts") && value("registry") == "requires" &&
                known_.value(call.service()).isEmpty())
                return refuse(call, "NotAllowed");
            const QString session = object("session", "session_handle_token");
            if (sessions_.contains(session)) return refuse(call, "Exists");
            sessions_.insert(session, call.interface());
            shortcuts_ = {};
            // The keys belong to the session handle that had them first.
            const QString handle = session.section('/', -1);
            if (owner_.isEmpty()) owner_ = handle;
            if (value("binds") == "early" && owner_ == handle) bind(options.value("shortcuts"));
            results = {{"session_handle", session}};
        } else if (call.member() == "SelectSources") {
            if ((options.value("cursor_mode", 0).toUInt() & ~number("cursors")) != 0 ||
                (options.value("types").toUInt() & ~number("sources")) != 0)
                return refuse(call, "InvalidArgument");
            restored_ = options.value("restore_token").toString();
        } else if (call.member() == "Start") {
            if (!restored_.isEmpty() && restored_ != value("valid")) code = 2;
            results = {{"streams", QVariant::fromValue(QList<Stream>{stream()})}};
            if (!value("token").isEmpty()) results.insert("restore_token", value("token"));
        } else if (call.member() == "BindShortcuts") {
            if (value("binds") == "all") bind(call.arguments().value(1));
            results = {
                {"shortcuts", QVariant::fromValue(value("binds") == "all" ? shortcuts_ : QList<Shortcut>())}};
        } else if (call.member() == "RequestBackground") {
            results = {{"background", true}, {"autostart", options.value("autostart")}};
        } else if (call.member() == "ListShortcuts") {
            results = {{"shortcuts", QVariant::fromValue(shortcuts_)}};
        }
        const QString request = object("request", "handle_token");
        QDBusMessage response = QDBusMessage::createSignal(request, prefix + "Request", "Response");
        response << code << (code == 0 ? results : QVariantMap());
        if (behaviour != "waiting") bus_.send(response);  // before the reply, which a client must expect
        return reply(call, QVariant::fromValue(QDBusObjectPath(request)));
    }

    Stream stream() const {
        QVariantMap facts{{"id", "0"}, {"source_type", number("source")}};
        const QStringList size = value("size").split('x');
        if (size.size() == 2) {
            facts.insert("size", QSize(size[0].toInt(), size[1].toInt()));
            facts.insert("position", QPoint());
        }
        if (!value("serial").isEmpty()) facts.insert("pipewire-serial", value("serial").toULongLong());
        return {number("node"), facts};
    }

    void bind(const QVariant& wanted) {
        for (const Shortcut& each : qdbus_cast<QList<Shortcut>>(wanted))
            shortcuts_.append(
                {each.name,
                 {{"trigger_description", "Press " + each.properties["preferred_trigger"].toString()}}});
    }

    static QDBusUnixFileDescriptor connectToPipeWire() {
        const int descriptor = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        sockaddr_un address{AF_UNIX, {}};
        const QByteArray path = qgetenv("XDG_RUNTIME_DIR") + "/pipewire-0";
        std::copy(path.begin(), path.end(), address.sun_path);
        QDBusUnixFileDescriptor result;
        if (::connect(descriptor, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0)
            result.giveFileDescriptor(descriptor);
        else
            std::perror("lumicrate-portal-double: PipeWire");
        return result;
    }

    bool command(const QDBusMessage& call) {
        const QString first = call.arguments().value(0).toString();
        const QString second = call.arguments().value(1).toString();
        if (call.member() == "Calls") return reply(call, std::exchange(calls_, {}).join('\n'));
        if (call.member() == "Set") set(first, second);
        if (call.member() == "Vanish" || call.member() == "Reset") vanish();
        if (call.member() == "Reset") values_ = arguments_;
        if (call.member() == "Return" || call.member() == "Reset") bus_.registerService(portalService);
        if (call.member() == "Activate") emitShortcut("Activated", {first, qulonglong(1), QVariantMap()});
        if (call.member() == "Rebind") {
            shortcuts_ = {{first, {{"trigger_description", second}}}};
            emitShortcut("ShortcutsChanged", {QVariant::fromValue(shortcuts_)});
        }
        if (call.member() == "WakeUp") {
            QDBusMessage signal = QDBusMessage::createSignal(
                "/org/freedesktop/login1", "org.freedesktop.login1.Manager", "PrepareForSleep");
            bus_.send(signal << false);
        }
        if (call.member() == "CloseSessions") {
            for (const QString& each : sessions_.keys())
                bus_.send(QDBusMessage::createSignal(each, prefix + "Session", "Closed") << QVariantMap());
            sessions_.clear();
        }
        return reply(call, QString());
    }

    void set(const QString& key, const QString& value) {
        values_[key] = value;
        const QStringList words = QString("org.freedesktop.appearance " + key).split(' ');
        const QString space = words[words.size() - 2];
        const QVariantMap changed = settings().value(space);
        if (!changed.contains(words.back())) return;
        QDBusMessage signal = QDBusMessage::createSignal(portalPath, prefix + "Settings", "SettingChanged");
        signal << space << words.back() << QVariant::fromValue(QDBusVariant(changed.value(words.back())));
        bus_.send(signal);
    }

    void vanish() {
        bus_.unregisterService(portalService);
        sessions_.clear();
        known_.clear();
        owner_.clear();
    }

    void emitShortcut(const QString& name, const QVariantList& arguments) {
        for (auto each = sessions_.begin(); each != sessions_.end(); ++each) {
            if (!each->endsWith("GlobalShortcuts")) continue;
            QDBusMessage signal = QDBusMessage::createSignal(portalPath, *each, name);
            signal << QVariant::fromValue(QDBusObjectPath(each.key()));
            signal.setArguments(signal.arguments() + arguments);
            bus_.send(signal);
        }
    }

    QDBusConnection bus_ = QDBusConnection::sessionBus();
    const QMap<QString, QString> arguments_;
    QMap<QString, QString> values_;
    QStringList calls_;
    QMap<QString, QString> sessions_;  ///< interfaces by path
    QMap<QString, QString> known_;     ///< application identifiers by caller; empty: not registered in time
    QString restored_;
    QList<Shortcut> shortcuts_;
    QString owner_;  ///< of the shortcuts
};

}  // namespace

int main(int argc, char** argv) {
    const QCoreApplication application(argc, argv);
    qDBusRegisterMetaType<Shortcut>();
    qDBusRegisterMetaType<QList<Shortcut>>();
    qDBusRegisterMetaType<Stream>();
    qDBusRegisterMetaType<QList<Stream>>();
    qDBusRegisterMetaType<Color>();
    qDBusRegisterMetaType<QMap<QString, QVariantMap>>();
    QMap<QString, QString> values;
    for (const QString& each : QCoreApplication::arguments().mid(1))
        values.insert(each.section('=', 0, 0), each.section('=', 1));
    Portal portal(values);
    if (!portal.serve()) return 1;
    std::puts("ready");
    std::fflush(stdout);
    return QCoreApplication::exec();
}
