// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Desktop/Workspace.h"

#include "Linux/Desktop/SessionBus.h"
#include "Support/Error.h"
#include "Support/Log.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QObject>
#include <QProcess>
#include <QStandardPaths>
#include <QString>
#include <QStringList>
#include <QUrl>

namespace lumicrate::desktop {

namespace {

QString text(const std::filesystem::path& url) {
    return QString::fromStdString(std::filesystem::absolute(url).string());
}

/// False if there is no xdg-open.
bool startOpener(const std::filesystem::path& url) {
    const QString opener = QStandardPaths::findExecutable(QStringLiteral("xdg-open"));
    return !opener.isEmpty() && QProcess::startDetached(opener, {text(url)});
}

void open(const std::filesystem::path& url) {
    if (startOpener(url)) return;
    throw PlatformError("“" + url.filename().string() + "” " +
                        localized("couldn't be opened: the program “xdg-open” can't be started."));
}

QDBusMessage showItems(const std::vector<std::filesystem::path>& urls) {
    QStringList addresses;
    for (const std::filesystem::path& each : urls)
        addresses << QString::fromLatin1(QUrl::fromLocalFile(text(each)).toEncoded());
    QDBusMessage call = QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.FileManager1"), QStringLiteral("/org/freedesktop/FileManager1"),
        QStringLiteral("org.freedesktop.FileManager1"), QStringLiteral("ShowItems"));
    return call << addresses << QString();
}

}  // namespace

void Workspace::openURL(const std::filesystem::path& url) {
    open(url);
}

void Workspace::activateFileViewerSelecting(const std::vector<std::filesystem::path>& urls) {
    if (urls.empty()) return;
    const std::filesystem::path folder = std::filesystem::absolute(urls.front()).parent_path();
    if (!sessionBusExists()) return open(folder);
    auto* watcher = new QDBusPendingCallWatcher(QDBusConnection::sessionBus().asyncCall(showItems(urls)));
    QObject::connect(watcher, &QDBusPendingCallWatcher::finished, watcher, [watcher, folder] {
        watcher->deleteLater();
        if (!QDBusPendingReply<>(*watcher).isError()) return;
        log(LogArea::desktop, "no file manager service: opening the folder");
        // It is too late to report a failure; without xdg-open there is no file manager either.
        startOpener(folder);
    });
}

}  // namespace lumicrate::desktop
