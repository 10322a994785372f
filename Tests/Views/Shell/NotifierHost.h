// NotifierHost: a panel's side of status notifier items, as far as looking and clicking go.
#pragma once

#include <QDBusConnection>
#include <QDBusVariant>
#include <QImage>
#include <QMutex>
#include <QObject>
#include <QString>
#include <QStringList>
#include <QThread>
#include <optional>
#include <vector>

namespace lumicrate::test {

/// What programs register with. It answers on a thread of its own, for a program waits for it when its first
/// icon is made.
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
    struct Entry {
        int id = 0;
        QString label;
        bool enabled = true;
        bool separator = false;
    };

    /// Takes the watcher's name on the session bus.
    NotifierHost();
    ~NotifierHost();

    bool hasItem() const { return !watcher_.items().isEmpty(); }
    /// The item's largest picture; null when there is none.
    QImage picture();
    QString toolTip();
    std::vector<Entry> menu();
    /// Chooses the menu's entry of that label; false when there is none that can be chosen.
    bool choose(const QString& label);
    /// The button that means something else in every panel.
    void activateSecondary();

 private:
    QVariant property(const QString& name);
    std::optional<QDBusMessage> call(const QString& path, const QString& interface, const QString& method,
                                     const QVariantList& arguments);

    QDBusConnection bus_;
    QThread thread_;
    NotifierWatcher watcher_;
};

}  // namespace lumicrate::test
