// SPDX-License-Identifier: GPL-3.0-or-later
#include "Views/Shell/TrayHosts.h"

#include "Support/Log.h"
#include "Views/Desktop/XcbConnection.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusServiceWatcher>
#include <QMetaObject>
#include <utility>

namespace lumicrate::views {

namespace {

const QString watcherService = QStringLiteral("org.kde.StatusNotifierWatcher");

}  // namespace

TrayHosts::TrayHosts(std::function<void()> appeared) : appeared_(std::move(appeared)) {
    const QDBusConnection bus = QDBusConnection::sessionBus();
    if (bus.isConnected()) {
        auto* watcher =
            new QDBusServiceWatcher(watcherService, bus, QDBusServiceWatcher::WatchForRegistration, this);
        connect(watcher, &QDBusServiceWatcher::serviceRegistered, this, [this] { notify(); });
    }
    if (xcbConnection()) {
        managerAtom_ = xcbAtom("MANAGER");
        selectionAtom_ = xcbAtom("_NET_SYSTEM_TRAY_S0");
        QCoreApplication::instance()->installNativeEventFilter(this);
    }
}

TrayHosts::~TrayHosts() {
    if (managerAtom_ != 0) QCoreApplication::instance()->removeNativeEventFilter(this);
}

bool TrayHosts::isPresent() const {
    const QDBusConnection bus = QDBusConnection::sessionBus();
    if (bus.isConnected() && bus.interface()->isServiceRegistered(watcherService)) return true;
    return xcbConnection() && isXcbSelectionOwned(selectionAtom_);
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
