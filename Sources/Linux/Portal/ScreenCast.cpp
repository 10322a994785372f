// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Portal/ScreenCast.h"

#include "Linux/Portal/PortalError.h"
#include "Linux/Portal/PortalSession.h"
#include "Support/Log.h"

#include <fcntl.h>

#include <QDBusObjectPath>
#include <QDBusReply>
#include <QDBusUnixFileDescriptor>
#include <utility>

namespace lumicrate::portal {

namespace {

constexpr std::chrono::seconds remoteTimeout(5);

int openRemoteOf(const QString& sessionPath) {
    const QDBusMessage call =
        methodCall(portalInterface(QStringLiteral("ScreenCast")), QStringLiteral("OpenPipeWireRemote"),
                   {QVariant::fromValue(QDBusObjectPath(sessionPath)), QVariantMap()});
    const QDBusReply<QDBusUnixFileDescriptor> reply = sendAndWait(call, remoteTimeout);
    const int descriptor = reply.isValid() ? fcntl(reply.value().fileDescriptor(), F_DUPFD_CLOEXEC, 0) : -1;
    if (descriptor >= 0) return descriptor;
    log(LogArea::desktop, "portal: no remote: ", reply.error().message().toStdString());
    throw PortalError(PortalError::Reason::failed,
                      localized("The desktop portal gives no access to the screen cast."));
}

}  // namespace

ScreenCast::ScreenCast(std::unique_ptr<PortalSession> session, Facts facts)
    : session_(std::move(session)), facts_(std::move(facts)) {}

ScreenCast::ScreenCast(ScreenCast&&) noexcept = default;
ScreenCast& ScreenCast::operator=(ScreenCast&&) noexcept = default;
ScreenCast::~ScreenCast() = default;

const std::vector<ScreenCastStream>& ScreenCast::streams() const {
    return facts_.streams;
}

const std::string& ScreenCast::restoreToken() const {
    return facts_.restoreToken;
}

CursorMode ScreenCast::cursorMode() const {
    return facts_.cursorMode;
}

int ScreenCast::openRemote() const {
    return openRemoteOf(session_->path());
}

std::function<int()> ScreenCast::remote() const {
    return [path = session_->path()] { return openRemoteOf(path); };
}

bool ScreenCast::isOpen() const {
    return session_->isOpen();
}

bool ScreenCast::isPortalGone() const {
    return session_->isPortalGone();
}

void ScreenCast::setOnClosed(std::function<void()> handler) {
    session_->setOnClosed(std::move(handler));
}

}  // namespace lumicrate::portal
