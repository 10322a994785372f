// SPDX-License-Identifier: GPL-3.0-or-later
// RecordingNotifications: notifies the user of failed recordings, and of saved ones.
#pragma once

#include "Lumicrate/Recording/ScreenRecorder.h"
#include "Platform/NSUserDefaults.h"
#include "Platform/UNUserNotificationCenter.h"
#include "Support/Executor.h"
#include "Support/Notifications.h"
#include "Support/Published.h"

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>

namespace lumicrate {

/// A recording that does not start, or that ends by itself, says so in the main window. Recordings are
/// usually controlled by shortcuts while that window is closed or behind others; then there is a
/// notification, too, and for an error during which the recording continues. Saved recordings are notified if
/// the preference "notifyWhenSaved" is on. A recording without a control bar can be stopped from one. The
/// notification disappears when the next recording begins. Main thread.
class RecordingNotifications {
 public:
    /// The references must outlive this object.
    struct Services {
        Executor& executor;
        ScreenRecorder& recorder;
        const NSUserDefaults& defaults;
        NotificationCenter& notifications;
        UNUserNotificationCenter& center;
        std::function<bool()> isMainWindowActive;  ///< whether it has the keyboard focus
        std::function<void()> showMainWindow;
        std::function<void(const std::filesystem::path& recording)> open;
        std::function<void(const std::filesystem::path& recording)> showInFolder;
    };

    explicit RecordingNotifications(Services services);
    RecordingNotifications(const RecordingNotifications&) = delete;
    RecordingNotifications& operator=(const RecordingNotifications&) = delete;

 private:
    void stateChanged(ScreenRecorder::State state);
    void offerStop();
    void reportEnd();
    void reportError();

    Services services_;
    bool offersStop_ = false;                     ///< the notification that is shown does
    bool hasRun_ = false;                         ///< the present attempt got as far as recording
    std::optional<std::filesystem::path> saved_;  ///< by the present attempt
    Subscription stateChanges_;
    Subscription saves_;
    Subscription errors_;
    std::shared_ptr<RecordingNotifications*> self_;  ///< posted work holds it weakly
};

}  // namespace lumicrate
