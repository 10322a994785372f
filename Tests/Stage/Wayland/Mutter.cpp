// SPDX-License-Identifier: GPL-3.0-or-later
#include "Tests/Stage/Wayland/Mutter.h"

#include "Tests/Stage/Await.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QDBusVariant>
#include <algorithm>
#include <csignal>
#include <filesystem>
#include <iterator>
#include <optional>
#include <regex>
#include <set>
#include <stdexcept>
#include <utility>

namespace lumicrate::stage {

namespace {

const QString remoteDesktop = QStringLiteral("org.gnome.Mutter.RemoteDesktop");
const QString screenCast = QStringLiteral("org.gnome.Mutter.ScreenCast");

std::vector<std::string> serverCommand(const std::string& displayName, const Mutter::Options& options) {
    std::vector<std::string> command{"mutter", "--headless", "--wayland", "--wayland-display=" + displayName};
    for (const auto& monitor : options.monitors) {
        command.push_back("--virtual-monitor");
        command.push_back(std::to_string(monitor.width) + "x" + std::to_string(monitor.height));
    }
    return command;
}

Environment serverEnvironment() {
    return {{"DISPLAY", std::nullopt},
            {"XAUTHORITY", std::nullopt},
            {"LIBGL_ALWAYS_SOFTWARE", "1"},
            {"XDG_CURRENT_DESKTOP", "GNOME"},
            {"XDG_SESSION_TYPE", "wayland"}};
}

/// PipeWire's nodes that cast a screen. Their numbers are announced by signals, which need an event loop.
std::set<std::uint32_t> castNodes() {
    // "\tid 34, type PipeWire:Interface:Node/3", then its properties.
    static const std::regex pattern("id ([0-9]+), type|media\\.class = \"Stream/Output/Video\"");
    const std::string text = runProgram({"pw-cli", "list-objects", "Node"});
    std::set<std::uint32_t> nodes;
    std::uint32_t current = 0;
    for (std::sregex_iterator each(text.begin(), text.end(), pattern), end; each != end; ++each) {
        if ((*each)[1].matched) {
            current = static_cast<std::uint32_t>(std::stoul((*each)[1]));
        } else {
            nodes.insert(current);
        }
    }
    return nodes;
}

/// The compositor's own interfaces. What was begun through them ends with the connection to the bus.
class Control {
 public:
    // By its address: the library keeps that of the first session bus of a process.
    Control()
        : bus_(QDBusConnection::connectToBus(qEnvironmentVariable("DBUS_SESSION_BUS_ADDRESS"),
                                             connectionName())) {}
    ~Control() { QDBusConnection::disconnectFromBus(connectionName()); }
    Control(const Control&) = delete;
    Control& operator=(const Control&) = delete;

    /// "/org/gnome/Mutter/ScreenCast", of a service of that name.
    static QString pathOf(const QString& service) { return "/" + QString(service).replace('.', '/'); }

    /// The first result of a call. Throws std::runtime_error.
    QVariant call(const QString& service, const QString& path, const QString& interface, const char* method,
                  const QVariantList& arguments = {}) const {
        QDBusMessage request = QDBusMessage::createMethodCall(service, path, interface, method);
        request.setArguments(arguments);
        const QDBusMessage reply = bus_.call(request);
        if (reply.type() != QDBusMessage::ReplyMessage)
            throw std::runtime_error(method + (": " + reply.errorMessage()).toStdString());
        return reply.arguments().value(0);
    }
    QString createSession(const QString& service, const QVariantList& arguments = {}) const {
        return call(service, pathOf(service), service, "CreateSession", arguments)
            .value<QDBusObjectPath>()
            .path();
    }

 private:
    static QString connectionName() { return QStringLiteral("lumicrate-mutter"); }

    QDBusConnection bus_;
};

class RemoteInput final : public VirtualInput {
 public:
    explicit RemoteInput(const Control& control)
        : control_(control), session_(control.createSession(remoteDesktop)) {
        call("Start");
    }

    void setButton(std::uint32_t button, bool isPressed) override {
        call("NotifyPointerButton", {static_cast<int>(button), isPressed});
    }
    void setKey(std::uint32_t code, bool isPressed) override {
        call("NotifyKeyboardKeycode", {code, isPressed});
    }

 private:
    void moveBy(double dx, double dy) override { call("NotifyPointerMotionRelative", {dx, dy}); }
    void call(const char* method, const QVariantList& arguments = {}) const {
        control_.call(remoteDesktop, session_, remoteDesktop + ".Session", method, arguments);
    }

    const Control& control_;
    QString session_;
};

}  // namespace

class Mutter::Remote {
 public:
    Control control;
    std::optional<RemoteInput> input;
};

bool Mutter::isInstalled() {
    return runToEnd({"sh", "-c", "command -v mutter"}).status == 0;
}

Mutter::Mutter(std::shared_ptr<const Session> session, const Options& options)
    : session_(std::move(session)), server_(serverCommand(displayName_, options), serverEnvironment()) {
    static const std::regex ready("public X11 display (:[0-9]+)[^]*Using Wayland display name");
    const bool isUp = eventually([&] {
        const std::string text = server_.standardError();
        std::smatch found;
        if (std::regex_search(text, found, ready)) xDisplayName_ = found[1];
        return !xDisplayName_.empty() || !server_.isRunning();
    });
    if (!isUp || xDisplayName_.empty())
        throw std::runtime_error("mutter did not start: " + server_.standardError());
    remote_ = std::make_unique<Remote>();
    // It joins the bus a little later.
    const auto answers = [&] {
        try {
            remote_->control.call(screenCast, Control::pathOf(screenCast), "org.freedesktop.DBus.Peer",
                                  "Ping");
            return true;
        } catch (const std::runtime_error&) {
            return false;
        }
    };
    if (!eventually(answers)) throw std::runtime_error("mutter does not cast: " + server_.standardError());
}

Mutter::~Mutter() = default;

Environment Mutter::environment() const {
    Environment environment{{"WAYLAND_DISPLAY", displayName_},
                            {"DISPLAY", xDisplayName_},
                            {"XDG_CURRENT_DESKTOP", "GNOME"},
                            {"XDG_SESSION_TYPE", "wayland"}};
    for (const auto& entry : std::filesystem::directory_iterator(session_->runtimeFolder())) {
        if (entry.path().filename().string().starts_with(".mutter-Xwaylandauth"))
            environment["XAUTHORITY"] = entry.path().string();
    }
    return environment;
}

VirtualInput& Mutter::input() {
    if (!remote_->input) remote_->input.emplace(remote_->control);
    return *remote_->input;
}

std::uint32_t Mutter::cast(const std::string& monitorName, Cursor cursor) {
    const Control& control = remote_->control;
    const std::set<std::uint32_t> before = castNodes();
    const QString session = control.createSession(screenCast, {QVariantMap()});
    control.call(screenCast, session, screenCast + ".Session", "RecordMonitor",
                 {QString::fromStdString(monitorName),
                  QVariantMap{{QStringLiteral("cursor-mode"), static_cast<uint>(cursor)}}});
    control.call(screenCast, session, screenCast + ".Session", "Start");
    std::vector<std::uint32_t> added;
    const auto isThere = [&] {
        added.clear();
        std::ranges::set_difference(castNodes(), before, std::back_inserter(added));
        return !added.empty();
    };
    if (!eventually(isThere)) throw std::runtime_error("The compositor does not cast " + monitorName);
    return added.front();
}

void Mutter::kill() {
    server_.signal(SIGKILL);
    server_.mustEnd(30);
}

}  // namespace lumicrate::stage
