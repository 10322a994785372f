// SPDX-License-Identifier: GPL-3.0-or-later
// AppWindows: the application's windows, each created when it is first shown.
#pragma once

#include "App/DesktopSession.h"
#include "App/RecorderServices.h"
#include "App/SystemServices.h"
#include "Linux/Desktop/DesktopServices.h"
#include "Linux/Media/Images/ImageIO.h"
#include "Lumicrate/Library/RecordingLibrary.h"
#include "Lumicrate/MainWindow/MainWindowModel.h"
#include "Lumicrate/Settings/ApplicationPicker.h"
#include "Lumicrate/Settings/NeverRecordedList.h"
#include "Lumicrate/Shell/MenuItem.h"
#include "Platform/NSAlert.h"
#include "Platform/SMAppService.h"
#include "Support/DispatchQueue.h"
#include "Support/Task.h"
#include "Views/MainWindow/MainWindow.h"
#include "Views/Shell/MessageWindows.h"
#include "Views/Shell/SingleWindow.h"

#include <QDialog>
#include <QPointer>
#include <functional>
#include <memory>
#include <string>

namespace lumicrate::app {

/// Main thread.
class AppWindows {
 public:
    struct Commands {
        std::function<void()> quit;
        std::function<void()> checkForUpdates;  ///< empty if this copy does not check for updates
        std::function<std::vector<MenuItem>()> recordingMenu;
        /// Called when the user closes the main window.
        std::function<void()> mainClosed;
    };

    /// All must outlive it.
    AppWindows(SystemServices& system, DesktopSession& session, RecorderServices& services,
               RecordingLibrary& library, desktop::Workspace& workspace, Commands commands);
    ~AppWindows();
    AppWindows(const AppWindows&) = delete;
    AppWindows& operator=(const AppWindows&) = delete;

    void showMain();
    /// Whether the main window has the keyboard focus.
    bool isMainActive() const { return main_ && main_->isActiveWindow(); }
    void showSettings();
    void showAbout();
    /// Shows the welcome window unless it has been shown before.
    void showWelcomeIfDue();
    /// Shows the permissions window when the display, the sound server or cameras cannot be reached; up to
    /// two seconds later, because a server that hangs must not block the windows.
    void showPermissionsIfMissing();
    /// Opens the recordings folder, and creates it before the first recording.
    void openRecordingsFolder();
    /// Shows a sentence in the main window.
    void complain(const std::string& sentence) { content_.messages.report(sentence); }
    /// Shows a sentence in the main window and brings that to the front.
    void complainInFront(const std::string& sentence);
    /// Shows an alert in front: over the main window if that is open, otherwise alone. Replaces the alert
    /// before.
    void showAlert(const NSAlert& alert, std::function<void(NSAlertResponse)> answered);

 private:
    class CloseWatch;

    MainWindowModel::Services contentServices();
    /// Throws PlatformError.
    void openFolder();
    void checkPermissions(std::function<void()> checked);
    Task<void> updatePermissions(std::function<void()> checked);
    Permissions::Facts facts(bool soundReachable) const;
    NeverRecordedList::Pick applicationPick();

    SystemServices& system_;
    DesktopSession& session_;
    RecorderServices& services_;
    RecordingLibrary& library_;
    desktop::Workspace& workspace_;
    Commands commands_;
    AppInfo info_;
    std::unique_ptr<SMAppService> loginItem_;
    ApplicationPicker applicationPicker_;
    media::ImageIO images_;
    MainWindowModel content_;
    Permissions permissions_;
    SerialQueue permissionQueue_{"Lumicrate.permissions"};
    RunningTask permissionCheck_;
    std::unique_ptr<CloseWatch> closeWatch_;
    std::unique_ptr<views::MainWindow> main_;
    views::SingleWindow windows_;
    QPointer<QDialog> alert_;
};

}  // namespace lumicrate::app
