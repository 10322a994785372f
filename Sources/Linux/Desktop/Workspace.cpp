#include "Linux/Desktop/Workspace.h"

#include "Linux/Desktop/SessionBus.h"
#include "Support/Error.h"

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

/// False without the program.
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
        // Nobody waits for this any more; and who has neither of the two has no file viewer.
        if (QDBusPendingReply<>(*watcher).isError()) startOpener(folder);
    });
}

}  // namespace lumicrate::desktop
