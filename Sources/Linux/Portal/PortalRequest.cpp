// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Portal/PortalRequest.h"

#include "Support/Log.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusObjectPath>
#include <QDBusPendingReply>
#include <QDBusServiceWatcher>
#include <QTimer>
#include <utility>

namespace lumicrate::portal {

namespace {

using Outcome = Answer::Outcome;

}  // namespace

PortalRequest::PortalRequest(Question question, Completion completion) : completion_(std::move(completion)) {
    const QDBusConnection connection = bus();
    if (!connection.isConnected()) {
        QTimer::singleShot(0, this, [this] { finish({Outcome::unavailable, {}}); });
        open_ = false;
        return;
    }
    const QString token = newToken();
    question.options.insert(QStringLiteral("handle_token"), token);
    follow(objectPathFor(QStringLiteral("request"), token));

    auto* const gone =
        new QDBusServiceWatcher(service, connection, QDBusServiceWatcher::WatchForUnregistration, this);
    connect(gone, &QDBusServiceWatcher::serviceUnregistered, this, [this] {
        open_ = false;
        finish({Outcome::unavailable, {}});
    });
    if (question.timeout.count() > 0)
        QTimer::singleShot(question.timeout, this, [this] {
            withdraw();
            finish({Outcome::timedOut, {}});
        });

    question.arguments << question.options;
    const QDBusMessage call =
        methodCall(portalInterface(question.interface), question.method, question.arguments);
    sent_ = new QDBusPendingCallWatcher(connection.asyncCall(call), this);
    connect(sent_, &QDBusPendingCallWatcher::finished, this, [this, method = question.method] {
        const QDBusMessage reply = sent_->reply();
        if (reply.type() == QDBusMessage::ErrorMessage)
            log(LogArea::desktop, "portal: ", method.toStdString(), ": ", reply.errorMessage().toStdString());
        std::exchange(sent_, nullptr)->deleteLater();
        replied(reply);
    });
}

PortalRequest::~PortalRequest() {
    withdraw();
}

void PortalRequest::follow(const QString& path) {
    QDBusConnection connection = bus();
    const QString interface = portalInterface(QStringLiteral("Request"));
    const QString signal = QStringLiteral("Response");
    if (!path_.isEmpty())
        connection.disconnect(service, path_, interface, signal, this, SLOT(respond(uint, QVariantMap)));
    path_ = path;
    connection.connect(service, path_, interface, signal, this, SLOT(respond(uint, QVariantMap)));
}

void PortalRequest::replied(const QDBusMessage& reply) {
    if (reply.type() == QDBusMessage::ErrorMessage) {
        open_ = false;
        return finish({isMethodMissing(reply) ? Outcome::unavailable : Outcome::failed, {}});
    }
    // Portals before version 0.9 choose the path themselves.
    const QString path = reply.arguments().value(0).value<QDBusObjectPath>().path();
    if (!path.isEmpty() && path != path_) follow(path);
}

void PortalRequest::respond(uint code, const QVariantMap& results) {
    constexpr uint success = 0;
    constexpr uint cancelled = 1;
    const Outcome outcome = code == success     ? Outcome::granted
                            : code == cancelled ? Outcome::cancelled
                                                : Outcome::failed;
    open_ = outcome == Outcome::granted && lasting_;
    finish({outcome, results});
}

void PortalRequest::finish(const Answer& answer) {
    if (const auto completion = std::exchange(completion_, nullptr)) completion(answer);
}

void PortalRequest::withdraw() {
    if (!std::exchange(open_, false)) return;
    if (sent_ == nullptr) return closeObject(QStringLiteral("Request"), path_);
    // Before its reply the portal may not have the object yet.
    QDBusPendingCallWatcher* const sent = std::exchange(sent_, nullptr);
    sent->disconnect(this);
    sent->setParent(QCoreApplication::instance());
    connect(sent, &QDBusPendingCallWatcher::finished, sent, [sent] {
        const QDBusPendingReply<QDBusObjectPath> reply(*sent);
        if (!reply.isError()) closeObject(QStringLiteral("Request"), reply.value().path());
        sent->deleteLater();
    });
}

Task<Answer> ask(Executor& executor, Question question) {
    const Completion<Answer> answered(executor);
    const PortalRequest request(std::move(question),
                                [answered](const Answer& answer) { answered.resolve(answer); });
    co_return co_await answered;
}

}  // namespace lumicrate::portal
