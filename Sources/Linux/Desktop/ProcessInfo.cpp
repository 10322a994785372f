// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Desktop/ProcessInfo.h"

#include "Linux/Desktop/SessionBus.h"
#include "Support/Log.h"

#include <unistd.h>

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QObject>
#include <QString>
#include <ctime>

namespace lumicrate::desktop {

namespace {

QDBusMessage screenSaverCall(const QString& method) {
    return QDBusMessage::createMethodCall(QStringLiteral("org.freedesktop.ScreenSaver"),
                                          QStringLiteral("/org/freedesktop/ScreenSaver"),
                                          QStringLiteral("org.freedesktop.ScreenSaver"), method);
}

std::chrono::nanoseconds read(clockid_t clock) {
    timespec time{};
    clock_gettime(clock, &time);
    return std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
}

void uninhibit(std::uint32_t cookie) {
    QDBusMessage call = screenSaverCall(QStringLiteral("UnInhibit"));
    call << cookie;
    QDBusConnection::sessionBus().send(call);
}

/// Holds the cookie of an inhibition. If the activity ends before the service has replied, the pending call
/// keeps the state and releases the cookie as soon as it arrives.
class ScreenSaverInhibition final : public NSActivity {
 public:
    explicit ScreenSaverInhibition(const std::string& reason) {
        if (!sessionBusExists()) return;
        QDBusMessage call = screenSaverCall(QStringLiteral("Inhibit"));
        call << QStringLiteral("Lumicrate") << QString::fromStdString(reason);
        auto* watcher = new QDBusPendingCallWatcher(QDBusConnection::sessionBus().asyncCall(call));
        QObject::connect(watcher, &QDBusPendingCallWatcher::finished, watcher, [watcher, state = state_] {
            const QDBusPendingReply<std::uint32_t> reply = *watcher;
            watcher->deleteLater();
            log(LogArea::desktop, "screen saver: ", reply.isError() ? "no service to inhibit" : "inhibited");
            if (reply.isError()) return;
            if (state->ended) {
                uninhibit(reply.value());
            } else {
                state->cookie = reply.value();
            }
        });
    }
    ScreenSaverInhibition(const ScreenSaverInhibition&) = delete;
    ScreenSaverInhibition& operator=(const ScreenSaverInhibition&) = delete;
    ~ScreenSaverInhibition() override {
        state_->ended = true;
        if (state_->cookie != 0) uninhibit(state_->cookie);
    }

 private:
    struct State {
        std::uint32_t cookie = 0;
        bool ended = false;
    };

    std::shared_ptr<State> state_ = std::make_shared<State>();
};

}  // namespace

std::int32_t ProcessInfo::processIdentifier() const {
    return getpid();
}

std::chrono::nanoseconds ProcessInfo::timeAsleep() const {
    return read(CLOCK_BOOTTIME) - read(CLOCK_MONOTONIC);
}

std::unique_ptr<NSActivity> ProcessInfo::beginActivity(std::uint64_t options, const std::string& reason) {
    constexpr std::uint64_t displaySleepDisabled = 1ULL << 40;
    if ((options & displaySleepDisabled) == 0) return std::make_unique<NSActivity>();
    return std::make_unique<ScreenSaverInhibition>(reason);
}

}  // namespace lumicrate::desktop
