// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Portal/Registry.h"

#include "Linux/Portal/PortalBus.h"

#include <QDBusServiceWatcher>
#include <utility>

namespace lumicrate::portal {

namespace {

constexpr std::chrono::seconds timeout(5);

}  // namespace

Registry::Registry(Executor& executor, std::string applicationId)
    : executor_(executor), applicationId_(std::move(applicationId)) {}

Registry::~Registry() = default;

Task<> Registry::enroll() {
    if (enrolled_ || isSandboxed()) co_return;
    if (!portalEnd_) {
        portalEnd_ = std::make_unique<QDBusServiceWatcher>(service, bus(),
                                                           QDBusServiceWatcher::WatchForUnregistration);
        QObject::connect(portalEnd_.get(), &QDBusServiceWatcher::serviceUnregistered, portalEnd_.get(),
                         [this] { enrolled_ = false; });
    }
    Task<QDBusMessage> registering =
        send(executor_,
             methodCall(QStringLiteral("org.freedesktop.host.portal.Registry"), QStringLiteral("Register"),
                        {QString::fromStdString(applicationId_), QVariantMap()}),
             timeout);
    const QDBusMessage reply = co_await registering;
    // An older portal does not have the registry, and does not need it.
    enrolled_ = !isPortalMissing(reply);
}

}  // namespace lumicrate::portal
