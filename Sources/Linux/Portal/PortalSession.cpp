// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Portal/PortalSession.h"

#include "Support/Log.h"

#include <QDBusObjectPath>
#include <QDBusServiceWatcher>
#include <QPointer>
#include <utility>

namespace lumicrate::portal {

PortalSession::PortalSession(Executor& executor, QString interface, QString token)
    : executor_(executor), interface_(std::move(interface)), token_(std::move(token)) {
    follow(objectPathFor(QStringLiteral("session"), token_));
    auto* const gone =
        new QDBusServiceWatcher(service, bus(), QDBusServiceWatcher::WatchForUnregistration, this);
    connect(gone, &QDBusServiceWatcher::serviceUnregistered, this,
            [this] { end(Answer::Outcome::unavailable); });
}

PortalSession::~PortalSession() {
    if (open_) closeObject(QStringLiteral("Session"), path_);
}

void PortalSession::follow(const QString& path) {
    QDBusConnection connection = bus();
    const QString interface = portalInterface(QStringLiteral("Session"));
    const QString signal = QStringLiteral("Closed");
    if (!path_.isEmpty()) connection.disconnect(service, path_, interface, signal, this, SLOT(closed()));
    path_ = path;
    connection.connect(service, path_, interface, signal, this, SLOT(closed()));
}

Task<Answer> PortalSession::create(QVariantMap options, std::chrono::milliseconds timeout) {
    options.insert(QStringLiteral("session_handle_token"), token_);
    Task<Answer> creating = portal::ask(
        executor_, {interface_, QStringLiteral("CreateSession"), {}, std::move(options), timeout});
    const Answer answer = co_await creating;
    // There is nothing to close, unless another session has the same path.
    if (answer.outcome == Answer::Outcome::failed) open_ = false;
    const QString path = answer.results.value(QStringLiteral("session_handle")).toString();
    if (!path.isEmpty() && path != path_) follow(path);
    co_return answer;
}

Task<Answer> PortalSession::ask(QString method, QVariantList arguments, QVariantMap options,
                                std::chrono::milliseconds timeout) {
    arguments.prepend(QVariant::fromValue(QDBusObjectPath(path_)));
    const Completion<Answer> answered(executor_);
    pending_ = answered;
    const PortalRequest request(
        {interface_, std::move(method), std::move(arguments), std::move(options), timeout},
        [answered](const Answer& answer) { answered.resolve(answer); });
    co_return co_await answered;
}

void PortalSession::end(Answer::Outcome outcome) {
    if (!std::exchange(open_, false)) return;
    portalGone_ = outcome == Answer::Outcome::unavailable;
    log(LogArea::desktop, "portal: session of ", interface_.toStdString(),
        portalGone_ ? " lost with the portal" : " closed by the portal");
    if (pending_) pending_->resolve({outcome, {}});
    notify();
}

void PortalSession::setOnClosed(std::function<void()> handler) {
    onClosed_ = std::move(handler);
    notify();
}

void PortalSession::notify() {
    if (open_ || !onClosed_) return;
    executor_.post([session = QPointer<PortalSession>(this)] {
        if (session.isNull()) return;
        if (const auto handler = std::exchange(session->onClosed_, nullptr)) handler();
    });
}

}  // namespace lumicrate::portal
