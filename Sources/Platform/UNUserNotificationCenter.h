// SPDX-License-Identifier: GPL-3.0-or-later
// UNUserNotificationCenter: the notifications of the desktop, outside of our own windows.
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace lumicrate {

struct UNNotificationAction {
    std::string title;
    std::function<void()> chosen;  ///< called at most once, on the main thread
};

struct UNNotificationRequest {
    std::string title;
    std::string body;  ///< plain text
    /// Not every desktop shows them as buttons. A click on the notification itself is the first action.
    std::vector<UNNotificationAction> actions;
    bool isUrgent = false;  ///< stays until the user has seen it
    bool isQuiet = false;  ///< is only listed, without appearing on the screen, where the desktop can do that
};

/// Shows one notification at a time. Main thread; never blocks it. Without a service on the desktop, nothing
/// is shown.
class UNUserNotificationCenter {
 public:
    virtual ~UNUserNotificationCenter() = default;

    /// Shows a notification in place of the one before.
    virtual void add(UNNotificationRequest request) = 0;
    virtual void removeAllDeliveredNotifications() = 0;
};

}  // namespace lumicrate
