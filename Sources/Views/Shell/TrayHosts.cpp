// SPDX-License-Identifier: GPL-3.0-or-later
#include "Views/Shell/TrayHosts.h"

#include "Support/Log.h"

#include <xcb/xcb.h>

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusServiceWatcher>
#include <QGuiApplication>
#include <QMetaObject>
#include <cstdlib>
#include <memory>
#include <string>
#include <utility>

namespace lumicrate::views {

namespace {

const QString watcherService = QStringLiteral("org.kde.StatusNotifierWatcher");

template <class Reply>
std::unique_ptr<Reply, decltype(&std::free)> owned(Reply* reply) {
    return {reply, &std::free};
}

xcb_connection_t* connection() {
    const auto* x11 = qApp->nativeInterface<QNativeInterface::QX11Application>();
    return x11 ? x11->connection() : nullptr;
}

xcb_atom_t atom(xcb_connection_t* server, const std::string& name) {
    const auto cookie = xcb_intern_atom(server, 0, static_cast<std::uint16_t>(name.size()), name.c_str());
    const auto reply = owned(xcb_intern_atom_reply(server, cookie, nullptr));
    return reply ? reply->atom : xcb_atom_t{XCB_ATOM_NONE};
}

}  // namespace

TrayHosts::TrayHosts(std::function<void()> appeared) : appeared_(std::move(appeared)) {
    const QDBusConnection bus = QDBusConnection::sessionBus();
    if (bus.isConnected()) {
        auto* watcher =
            new QDBusServiceWatcher(watcherService, bus, QDBusServiceWatcher::WatchForRegistration, this);
        connect(watcher, &QDBusServiceWatcher::serviceRegistered, this, [this] { notify(); });
    }
    if (xcb_connection_t* server = connection()) {
        managerAtom_ = atom(server, "MANAGER");
        selectionAtom_ = atom(server, "_NET_SYSTEM_TRAY_S0");
        QCoreApplication::instance()->installNativeEventFilter(this);
    }
}

TrayHosts::~TrayHosts() {
    if (managerAtom_ != 0) QCoreApplication::instance()->removeNativeEventFilter(this);
}

bool TrayHosts::isPresent() const {
    const QDBusConnection bus = QDBusConnection::sessionBus();
    if (bus.isConnected() && bus.interface()->isServiceRegistered(watcherService)) return true;
    xcb_connection_t* server = connection();
    if (server == nullptr) return false;
    const auto owner = owned(
        xcb_get_selection_owner_reply(server, xcb_get_selection_owner(server, selectionAtom_), nullptr));
    return owner && owner->owner != XCB_WINDOW_NONE;
}

/// A system tray announces itself by a client message to the root window, which Qt receives.
bool TrayHosts::nativeEventFilter(const QByteArray&, void* message, qintptr*) {
    const auto& event = *static_cast<const xcb_generic_event_t*>(message);
    if ((event.response_type & 0x7f) != XCB_CLIENT_MESSAGE) return false;
    const auto& announced = reinterpret_cast<const xcb_client_message_event_t&>(event);
    if (announced.type == managerAtom_ && announced.data.data32[1] == selectionAtom_)
        QMetaObject::invokeMethod(
            this, [this] { notify(); }, Qt::QueuedConnection);
    return false;
}

void TrayHosts::notify() {
    log(LogArea::ui, "a tray appeared");
    if (const auto appeared = std::exchange(appeared_, nullptr)) appeared();
}

}  // namespace lumicrate::views
