// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Portal/CameraPortal.h"

#include "Linux/Portal/PortalError.h"

#include <fcntl.h>

#include <QDBusReply>
#include <QDBusUnixFileDescriptor>
#include <utility>

namespace lumicrate::portal {

namespace {

constexpr std::chrono::seconds timeout(1);

const QString interface = QStringLiteral("Camera");

}  // namespace

bool CameraPortal::isCameraPresent() const {
    return propertiesIn(sendAndWait(propertiesCall(interface), timeout))
        .value(QStringLiteral("IsCameraPresent"))
        .toBool();
}

void CameraPortal::requestAccess(std::function<void(bool granted)> completion) {
    request_ = std::make_unique<PortalRequest>(
        Question{interface, QStringLiteral("AccessCamera"), {}, {}, {}},
        [completion = std::move(completion)](const Answer& answer) { completion(answer.isGranted()); });
}

int CameraPortal::openRemote() {
    const QDBusReply<QDBusUnixFileDescriptor> reply = sendAndWait(
        methodCall(portalInterface(interface), QStringLiteral("OpenPipeWireRemote"), {QVariantMap()}),
        timeout);
    const int descriptor = reply.isValid() ? fcntl(reply.value().fileDescriptor(), F_DUPFD_CLOEXEC, 0) : -1;
    if (descriptor < 0)
        throw PortalError(PortalError::Reason::unavailable,
                          localized("The desktop portal gives no access to cameras."));
    return descriptor;
}

}  // namespace lumicrate::portal
