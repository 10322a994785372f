// SPDX-License-Identifier: GPL-3.0-or-later
// NotificationHold: has the desktop hold back notifications.
#pragma once

#include "Platform/NSProcessInfo.h"

#include <memory>
#include <string>

namespace lumicrate::desktop {

/// In force from shortly after its construction until its destruction, where the service
/// org.freedesktop.Notifications has the capability "inhibitions". The service ends it as well when this
/// process ends. Main thread, with a running Qt event loop.
class NotificationHold final : public NSActivity {
 public:
    /// `reason` is a sentence that the desktop may show.
    explicit NotificationHold(const std::string& reason);
    ~NotificationHold() override;
    NotificationHold(const NotificationHold&) = delete;
    NotificationHold& operator=(const NotificationHold&) = delete;

 private:
    struct State;

    std::shared_ptr<State> state_;
};

}  // namespace lumicrate::desktop
