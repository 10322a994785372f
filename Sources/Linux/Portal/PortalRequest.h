// SPDX-License-Identifier: GPL-3.0-or-later
// PortalRequest: one question to the desktop portal, which the user may answer much later.
#pragma once

#include "Linux/Portal/PortalBus.h"
#include "Support/Executor.h"
#include "Support/Task.h"

#include <QDBusPendingCallWatcher>
#include <QObject>
#include <QString>
#include <QVariantMap>
#include <chrono>
#include <functional>

namespace lumicrate::portal {

/// For questions to a person.
inline constexpr std::chrono::milliseconds noTimeout(0);

/// A method whose last argument is a dictionary of options, among them the handle's token, and whose answer
/// is the signal Response of a request object.
struct Question {
    QString interface;  ///< after "org.freedesktop.portal."
    QString method;
    QVariantList arguments;             ///< before the options
    QVariantMap options;                ///< besides the token
    std::chrono::milliseconds timeout;  ///< noTimeout: waits without a limit
};

struct Answer {
    enum class Outcome {
        granted,
        cancelled,    ///< by the user
        failed,       ///< the portal or the desktop behind it reported an error
        unavailable,  ///< there is no portal, it does not have the method, or it ended
        timedOut,
    };

    Outcome outcome = Outcome::failed;
    QVariantMap results;

    bool isGranted() const { return outcome == Outcome::granted; }
};

/// The request object has a path that is known before the call, so that no answer is missed. Main thread.
class PortalRequest final : public QObject {
    Q_OBJECT

 public:
    using Completion = std::function<void(const Answer& answer)>;

    /// `completion` is called once, later, and may destroy the request. Destroying the request withdraws the
    /// question.
    PortalRequest(Question question, Completion completion);
    ~PortalRequest() override;

    /// What was granted is in force only until it is withdrawn: destroying the request also ends it then.
    void setLasting() { lasting_ = true; }

 private Q_SLOTS:
    void respond(uint code, const QVariantMap& results);

 private:
    void follow(const QString& path);
    void replied(const QDBusMessage& reply);
    void finish(const Answer& answer);
    void withdraw();

    QString path_;
    Completion completion_;
    QDBusPendingCallWatcher* sent_ = nullptr;  ///< a child, while there is no reply
    bool open_ = true;                         ///< the portal may have the request object
    bool lasting_ = false;
};

/// Destroying the task withdraws the question.
Task<Answer> ask(Executor& executor, Question question);

}  // namespace lumicrate::portal
