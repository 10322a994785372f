// SPDX-License-Identifier: GPL-3.0-or-later
#include "Views/Widgets/QtText.h"

#include <QDateTime>
#include <QLocale>

namespace lumicrate::views {

std::string formatDate(std::chrono::system_clock::time_point moment) {
    const auto milliseconds = std::chrono::floor<std::chrono::milliseconds>(moment.time_since_epoch());
    const QDateTime local = QDateTime::fromMSecsSinceEpoch(milliseconds.count());
    const QLocale locale = QLocale::system();
    QString time = locale.toString(local.time(), QLocale::ShortFormat);
    // In the C locale the short form has seconds.
    if (locale.language() == QLocale::C) time = local.time().toString(QStringLiteral("HH:mm"));
    return (locale.toString(local.date(), QStringLiteral("d MMM yyyy")) + QStringLiteral(", ") + time)
        .toStdString();
}

}  // namespace lumicrate::views
