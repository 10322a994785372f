// TrayHosts: whether the desktop has a place for tray icons, and when it gets one.
#pragma once

#include <QAbstractNativeEventFilter>
#include <QObject>
#include <cstdint>
#include <functional>

namespace lumicrate::views {

/// Knows both kinds: a watcher of status notifier items on the session bus, and a tray that takes windows in.
/// A panel may well come up after the programs that start with the session. Nothing is polled.
class TrayHosts final : public QObject, private QAbstractNativeEventFilter {
 public:
    /// `appeared` is called once, from the event loop, when there is one that was not there before.
    explicit TrayHosts(std::function<void()> appeared);
    ~TrayHosts() override;

    /// Whether there is one now.
    bool isThere() const;

 private:
    bool nativeEventFilter(const QByteArray& eventType, void* message, qintptr* result) override;
    void tell();

    std::function<void()> appeared_;
    std::uint32_t managerAtom_ = 0;
    std::uint32_t selectionAtom_ = 0;
};

}  // namespace lumicrate::views
