// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Portal/CameraPortal.h"

#include "Support/Error.h"
#include "Support/Text.h"

#include <fcntl.h>

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusReply>
#include <QDBusUnixFileDescriptor>
#include <QDBusVariant>
#include <filesystem>
#include <utility>

namespace lumicrate::portal {

namespace {

constexpr int timeout = 1000;  // milliseconds

const QString cameraInterface = QStringLiteral("org.freedesktop.portal.Camera");

}  // namespace

bool isSandboxed() {
    return std::filesystem::exists("/.flatpak-info") || qEnvironmentVariableIsSet("SNAP");
}

bool CameraPortal::isCameraPresent() const {
    QDBusMessage question = QDBusMessage::createMethodCall(
        service, objectPath, QStringLiteral("org.freedesktop.DBus.Properties"), QStringLiteral("Get"));
    question << cameraInterface << QStringLiteral("IsCameraPresent");
    const QDBusReply<QDBusVariant> reply =
        QDBusConnection::sessionBus().call(question, QDBus::Block, timeout);
    return reply.isValid() && reply.value().variant().toBool();
}

void CameraPortal::requestAccess(std::function<void(bool granted)> completion) {
    request_ = std::make_unique<PortalRequest>(
        QStringLiteral("Camera"), QStringLiteral("AccessCamera"), QVariantList(), QVariantMap(),
        [completion = std::move(completion)](PortalRequest::Outcome outcome, const QVariantMap&) {
            completion(outcome == PortalRequest::Outcome::granted);
        });
}

int CameraPortal::openRemote() {
    QDBusMessage call = QDBusMessage::createMethodCall(service, objectPath, cameraInterface,
                                                       QStringLiteral("OpenPipeWireRemote"));
    call << QVariantMap();
    const QDBusReply<QDBusUnixFileDescriptor> reply =
        QDBusConnection::sessionBus().call(call, QDBus::Block, timeout);
    const int descriptor = reply.isValid() ? fcntl(reply.value().fileDescriptor(), F_DUPFD_CLOEXEC, 0) : -1;
    if (descriptor < 0) throw PlatformError(localized("The desktop portal gives no access to cameras."));
    return descriptor;
}

}  // namespace lumicrate::portal
