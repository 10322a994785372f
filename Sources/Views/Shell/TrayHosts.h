// SPDX-License-Identifier: GPL-3.0-or-later
// TrayHosts: detects whether the desktop shows tray icons, now or later.
#pragma once

#include <QAbstractNativeEventFilter>
#include <QObject>
#include <cstdint>
#include <functional>

namespace lumicrate::views {

/// Supports both protocols: StatusNotifierItem on the session bus, and the X11 system tray. A panel may start
/// after the programs that start with the session. Nothing is polled.
class TrayHosts final : public QObject, private QAbstractNativeEventFilter {
 public:
    /// `appeared` is called once, from the event loop, when a tray appears that was not there before.
    explicit TrayHosts(std::function<void()> appeared);
    ~TrayHosts() override;

    /// Whether there is a tray now.
    bool isPresent() const;

 private:
    bool nativeEventFilter(const QByteArray& eventType, void* message, qintptr* result) override;
    void notify();

    std::function<void()> appeared_;
    std::uint32_t managerAtom_ = 0;
    std::uint32_t selectionAtom_ = 0;
};

}  // namespace lumicrate::views
