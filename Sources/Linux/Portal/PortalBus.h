// SPDX-License-Identifier: GPL-3.0-or-later
// The connection on which this folder's types call the desktop portal, and calls that the portal answers at
// once.
#pragma once

#include "Support/Executor.h"
#include "Support/Task.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QString>
#include <QVariantMap>
#include <chrono>

namespace lumicrate::portal {

inline const QString service = QStringLiteral("org.freedesktop.portal.Desktop");
inline const QString objectPath = QStringLiteral("/org/freedesktop/portal/desktop");

/// Inside Flatpak or Snap, where programs reach cameras only by the portal.
bool isSandboxed();

/// A connection to the session bus for the portal alone; see Registry. Not connected if there is no session
/// bus. Any thread.
QDBusConnection bus();

/// "org.freedesktop.portal." + `interface`.
QString portalInterface(const QString& interface);
QDBusMessage methodCall(const QString& interface, const QString& method, const QVariantList& arguments);

/// A name for a new request or session.
QString newToken();
/// The path of the request or session (`kind`) with that token. The portal derives it from the caller's
/// unique name.
QString objectPathFor(const QString& kind, const QString& token);
/// Ends a request or session ("Request", "Session"); nothing happens if it has ended already.
void closeObject(const QString& interface, const QString& path);

/// Whether the reply is an error because there is no portal or it does not answer.
bool isPortalMissing(const QDBusMessage& reply);
/// The same, or because the portal does not have the method.
bool isMethodMissing(const QDBusMessage& reply);

/// Results in the reply, or in an error message if there is none in time.
Task<QDBusMessage> send(Executor& executor, QDBusMessage call, std::chrono::milliseconds timeout);
/// For callers that block the main thread.
inline constexpr std::chrono::milliseconds blockingTimeout(1000);
/// Waits for the reply, up to `timeout`. Any thread.
QDBusMessage sendAndWait(const QDBusMessage& call, std::chrono::milliseconds timeout);

/// Asks for the properties of an interface.
QDBusMessage propertiesCall(const QString& interface);
/// Empty if the portal does not have the interface.
QVariantMap propertiesIn(const QDBusMessage& reply);

}  // namespace lumicrate::portal
