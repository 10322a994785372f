#include "Linux/Desktop/ProcessInfo.h"

#include "Linux/Desktop/SessionBus.h"

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

/// Holds the cookie that the service gives for an inhibition. An activity that ends before the cookie has
/// come leaves its state to the pending call, which then gives the cookie back at once.
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
