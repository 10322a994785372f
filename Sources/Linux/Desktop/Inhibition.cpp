// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Desktop/Inhibition.h"

#include "Linux/Desktop/ServiceCall.h"
#include "Linux/Desktop/SessionBus.h"
#include "Support/Log.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusUnixFileDescriptor>
#include <QString>
#include <array>
#include <cstdint>
#include <utility>
#include <vector>

namespace lumicrate::desktop {

namespace {

/// Services with the methods Inhibit(application, reason) → cookie and UnInhibit(cookie).
struct SessionService {
    const char* name;
    const char* path;
    const char* interface;
};

constexpr std::array sessionServices{
    SessionService{"org.freedesktop.ScreenSaver", "/org/freedesktop/ScreenSaver",
                   "org.freedesktop.ScreenSaver"},
    SessionService{"org.freedesktop.PowerManagement", "/org/freedesktop/PowerManagement/Inhibit",
                   "org.freedesktop.PowerManagement.Inhibit"},
};

const QString programName = QStringLiteral("Lumicrate");

QDBusMessage callOf(const SessionService& service, const char* method) {
    return QDBusMessage::createMethodCall(
        QString::fromLatin1(service.name), QString::fromLatin1(service.path),
        QString::fromLatin1(service.interface), QString::fromLatin1(method));
}

void uninhibit(const SessionService& service, std::uint32_t cookie) {
    QDBusConnection::sessionBus().send(callOf(service, "UnInhibit") << cookie);
}

}  // namespace

/// If the activity ends before a service has replied, the pending call keeps this, and releases what arrives.
struct Inhibition::State {
    std::vector<std::pair<SessionService, std::uint32_t>> cookies;
    QDBusUnixFileDescriptor logind;  ///< logind inhibits until its last copy is closed
    bool ended = false;
};

Inhibition::Inhibition(const std::string& reason) : state_(std::make_shared<State>()) {
    const QString sentence = QString::fromStdString(reason);
    if (sessionBusExists()) {
        for (const SessionService& service : sessionServices) {
            callService<std::uint32_t>(
                callOf(service, "Inhibit") << programName << sentence, nullptr,
                [state = state_, service](const QDBusPendingReply<std::uint32_t>& reply) {
                    log(LogArea::desktop, service.name, ": ",
                        reply.isError() ? "no service to inhibit" : "inhibited");
                    if (reply.isError()) return;
                    if (state->ended) return uninhibit(service, reply.value());
                    state->cookies.emplace_back(service, reply.value());
                });
        }
    }
    QDBusMessage call = QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.login1"), QStringLiteral("/org/freedesktop/login1"),
        QStringLiteral("org.freedesktop.login1.Manager"), QStringLiteral("Inhibit"));
    call << QStringLiteral("sleep:idle") << programName << sentence << QStringLiteral("block");
    callService<QDBusUnixFileDescriptor>(
        call, nullptr,
        [state = state_](const QDBusPendingReply<QDBusUnixFileDescriptor>& reply) {
            log(LogArea::desktop, "logind: ", reply.isError() ? "no service to inhibit" : "inhibited");
            if (!reply.isError() && !state->ended) state->logind = reply.value();
        },
        QDBusConnection::systemBus());
}

Inhibition::~Inhibition() {
    state_->ended = true;
    state_->logind = {};
    for (const auto& [service, cookie] : state_->cookies)
        uninhibit(service, cookie);
}

}  // namespace lumicrate::desktop
