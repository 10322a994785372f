// SPDX-License-Identifier: GPL-3.0-or-later
#include "Views/Widgets/QtText.h"

#include <QDateTime>
#include <QLocale>

namespace lumicrate::views {

std::string formatDate(std::chrono::system_clock::time_point moment) {
    const auto milliseconds = std::chrono::floor<std::chrono::milliseconds>(moment.time_since_epoch());
    const QDateTime local = QDateTime::fromMSecsSinceEpoch(milliseconds.count());
    const QLocale locale;
    QString time = locale.toString(local.time(), QLocale::ShortFormat);
    // In the C locale the short form has seconds.
    if (locale.language() == QLocale::C) time = local.time().toString(QStringLiteral("HH:mm"));
    // Translators: a day of the month, a short name of the month, and a year, in Qt's letters for them.
    const QString day = locale.toString(local.date(), qtText(localizedIn("date", "d MMM yyyy")));
    // Translators: a date and a time of day.
    return filledIn(localizedIn("date", "{}, {}"), {day.toStdString(), time.toStdString()});
}

}  // namespace lumicrate::views
