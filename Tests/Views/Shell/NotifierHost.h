// SPDX-License-Identifier: GPL-3.0-or-later
// NotifierHost: the panel's side of the StatusNotifierItem protocol: looking at an item and clicking it. It
// does not announce that it opens the menu, which the protocol does not require.
#pragma once

#include <QDBusConnection>
#include <QMutex>
#include <QObject>
#include <QStringList>
#include <QThread>
#include <QVariant>
#include <optional>
#include <vector>

namespace lumicrate::test {

/// The service that programs register items with. It answers on a thread of its own: the program under test
/// may be this process, which blocks while it creates its first icon.
class NotifierWatcher : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.kde.StatusNotifierWatcher")
    Q_PROPERTY(bool IsStatusNotifierHostRegistered READ hasHost)
    Q_PROPERTY(int ProtocolVersion READ protocol)
    Q_PROPERTY(QStringList RegisteredStatusNotifierItems READ items)

 public:
    bool hasHost() const { return true; }
    int protocol() const { return 0; }
    QStringList items() const {
        const QMutexLocker lock(&mutex_);
        return items_;
    }

 public Q_SLOTS:
    void RegisterStatusNotifierItem(const QString& service) {
        const QMutexLocker lock(&mutex_);
        items_ << service;
    }
    void RegisterStatusNotifierHost(const QString&) {}

 private:
    mutable QMutex mutex_;
    QStringList items_;
};

class NotifierHost {
 public:
    /// Takes the watcher's name on the session bus.
    NotifierHost();
    ~NotifierHost();

    bool hasItem() const { return !watcher_.items().isEmpty(); }
    QString toolTip();
    bool menuHas(const QString& label);
    bool menuShowsShortcut(const QString& label);
    /// Chooses the menu entry of that label; false when there is no such enabled entry.
    bool choose(const QString& label);
    /// The middle mouse button.
    void activateSecondary();

 private:
    struct Entry {
        int id = 0;
        QString label;
        bool enabled = true;
        bool hasShortcut = false;
    };

    QString menuPath();
    std::vector<Entry> menu();
    QVariant property(const QString& name);
    std::optional<QDBusMessage> call(const QString& path, const QString& interface, const QString& method,
                                     const QVariantList& arguments);

    QDBusConnection bus_;
    QThread thread_;
    NotifierWatcher watcher_;
};

}  // namespace lumicrate::test
