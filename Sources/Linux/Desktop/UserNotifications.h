// SPDX-License-Identifier: GPL-3.0-or-later
// UserNotifications: notifications by the desktop's service org.freedesktop.Notifications.
#pragma once

#include "Platform/UNUserNotificationCenter.h"

#include <memory>

namespace lumicrate::desktop {

/// Needs a running Qt event loop. The bus is used from the first notification on.
class UserNotifications final : public UNUserNotificationCenter {
 public:
    UserNotifications();
    /// Removes the notification: its actions would do nothing.
    ~UserNotifications() override;
    UserNotifications(const UserNotifications&) = delete;
    UserNotifications& operator=(const UserNotifications&) = delete;

    void add(UNNotificationRequest request) override;
    void removeAllDeliveredNotifications() override;

 private:
    class Service;

    std::unique_ptr<Service> service_;
};

}  // namespace lumicrate::desktop
