// SPDX-License-Identifier: GPL-3.0-or-later
// PortalSession: a session object of the portal, in which several questions are asked.
#pragma once

#include "Linux/Portal/PortalRequest.h"
#include "Support/Executor.h"
#include "Support/Task.h"

#include <QObject>
#include <QString>
#include <QVariantMap>
#include <chrono>
#include <functional>
#include <optional>

namespace lumicrate::portal {

/// Closed with this object. Main thread. Must outlive its tasks.
class PortalSession final : public QObject {
    Q_OBJECT

 public:
    /// `interface` is the part after "org.freedesktop.portal.". No two open sessions have the same token.
    PortalSession(Executor& executor, QString interface, QString token = newToken());
    ~PortalSession() override;

    /// The first call: creates the session.
    Task<Answer> create(QVariantMap options, std::chrono::milliseconds timeout);
    /// A method whose first argument is the session. The answer is `failed` if the session is closed
    /// meanwhile, without which a question to a person could wait forever. One question at a time.
    Task<Answer> ask(QString method, QVariantList arguments, QVariantMap options,
                     std::chrono::milliseconds timeout);

    const QString& path() const { return path_; }
    bool isOpen() const { return open_; }
    /// Whether the session has ended because the portal left the bus.
    bool isPortalGone() const { return portalGone_; }
    /// `handler` is called once, from the executor, when the portal has closed the session or ended; also if
    /// that was before this call. It may destroy this.
    void setOnClosed(std::function<void()> handler);

 private Q_SLOTS:
    void closed() { end(Answer::Outcome::failed); }

 private:
    void follow(const QString& path);
    void end(Answer::Outcome outcome);
    void notify();

    Executor& executor_;
    QString interface_;
    QString token_;
    QString path_;
    bool open_ = true;
    bool portalGone_ = false;
    std::function<void()> onClosed_;
    std::optional<Completion<Answer>> pending_;
};

}  // namespace lumicrate::portal
