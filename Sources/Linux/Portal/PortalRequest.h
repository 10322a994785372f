// SPDX-License-Identifier: GPL-3.0-or-later
// PortalRequest: one question to the desktop portal, which the user may answer much later.
#pragma once

#include <QDBusMessage>
#include <QObject>
#include <QString>
#include <QVariantMap>
#include <functional>

namespace lumicrate::portal {

inline const QString service = QStringLiteral("org.freedesktop.portal.Desktop");
inline const QString objectPath = QStringLiteral("/org/freedesktop/portal/desktop");

/// A call whose last argument is a dictionary of options, among them the handle's token, and whose answer is
/// the signal Response of a request object. The object has a path that is known before the call, so that no
/// answer is missed. Main thread.
class PortalRequest final : public QObject {
    Q_OBJECT

 public:
    enum class Outcome {
        granted,
        cancelled,  ///< by the user
        failed,     ///< there is no portal, it does not have the method, or it ended
    };
    using Completion = std::function<void(Outcome outcome, const QVariantMap& results)>;

    /// Calls "org.freedesktop.portal." + `interface`. `completion` is called once, later, and may destroy the
    /// request. Destroying the request withdraws the question.
    PortalRequest(const QString& interface, const QString& method, QVariantList arguments,
                  QVariantMap options, Completion completion);
    ~PortalRequest() override;

 private Q_SLOTS:
    void respond(uint code, const QVariantMap& results);

 private:
    void follow(const QString& path);
    void finish(Outcome outcome, const QVariantMap& results = {});

    QString path_;
    Completion completion_;
};

}  // namespace lumicrate::portal
