// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Desktop/LauncherEntry.h"

#include "Linux/Desktop/SessionBus.h"
#include "Support/ApplicationId.h"
#include "Support/Log.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QString>
#include <QVariantMap>

namespace lumicrate::desktop {

LauncherEntry::~LauncherEntry() {
    if (isVisible_) setBadge({});
}

void LauncherEntry::setBadge(const DockTileBadge& badge) {
    if (!sessionBusExists()) return;
    isVisible_ = badge.count || badge.progress;
    log(LogArea::desktop, "launcher: badge ", isVisible_);
    // The path is free to choose; launchers tell programs apart by the sender.
    QDBusMessage update = QDBusMessage::createSignal(QStringLiteral("/com/canonical/unity/launcherentry/1"),
                                                     QStringLiteral("com.canonical.Unity.LauncherEntry"),
                                                     QStringLiteral("Update"));
    update << QStringLiteral("application://%1.desktop").arg(QString::fromLatin1(applicationId))
           << QVariantMap{{QStringLiteral("count"), qlonglong{badge.count.value_or(0)}},
                          {QStringLiteral("count-visible"), badge.count.has_value()},
                          {QStringLiteral("progress"), badge.progress.value_or(0)},
                          {QStringLiteral("progress-visible"), badge.progress.has_value()}};
    QDBusConnection::sessionBus().send(update);
}

}  // namespace lumicrate::desktop
