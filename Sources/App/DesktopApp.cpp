// SPDX-License-Identifier: GPL-3.0-or-later
#include "App/DesktopApp.h"

#include "App/AppWindows.h"
#include "App/Application.h"
#include "App/CommandLine/CommandLine.h"
#include "App/ControlMethods.h"
#include "App/DesktopSession.h"
#include "App/Previews.h"
#include "App/RecorderServices.h"
#include "App/Signals.h"
#include "App/SystemServices.h"
#include "Linux/Desktop/DesktopServices.h"
#include "Linux/Desktop/SessionBus.h"
#include "Linux/Desktop/URLSession.h"
#include "Linux/Desktop/UserNotifications.h"
#include "Linux/Portal/Appearance.h"
#include "Lumicrate/Library/RecordingLibrary.h"
#include "Lumicrate/Shell/AppDelegate.h"
#include "Lumicrate/Shell/MenuBar.h"
#include "Lumicrate/Shell/RecordingNotifications.h"
#include "Lumicrate/Shell/RemoteControl.h"
#include "Lumicrate/Shell/UpdateChecker.h"
#include "Support/Error.h"
#include "Support/Log.h"
#include "Views/Shell/TrayIcon.h"
#include "Views/Widgets/Theme.h"

#include <fmt/format.h>

#include <QApplication>
#include <QEventLoop>
#include <QSessionManager>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <optional>
#include <utility>

namespace lumicrate::app {

namespace {

double secondsSince1970() {
    return std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count();
}

/// Owns all parts of the application, in the order of their dependencies.
class DesktopApp {
 public:
    explicit DesktopApp(QApplication& application)
        : session_(system_),
          services_(system_, session_.services()),
          workspace_([this](const std::string& sentence) { windows_.complainInFront(sentence); }),
          library_({system_.executor, system_.files, system_.notifications, services_.folder, workspace_,
                    lengthReaders(), watchFolder,
                    [this](const std::filesystem::path& url) { previews_.windows.show(url); },
                    QApplication::beep}),
          previews_(system_, workspace_),
          delegate_(system_.executor, services_.recorder),
          windows_(system_, session_, services_, library_, workspace_,
                   {[this] { quit(); }, updateCommand(), [this] { return menuBar_.recordingItems(); },
                    [this] {
                        // Without a tray icon nothing would be left to quit the program with.
                        if (!tray_.isShown()) quit();
                    }}),
          menuBar_(services_.recorder, system_.defaults,
                   {[this] { windows_.showMain(); }, [this] { windows_.openRecordingsFolder(); },
                    updateCommand(), [this] { windows_.showAbout(); }, [this] { quit(); }},
                   session_.abilities),
          tray_(menuBar_, services_.recorder),
          network_(system_.executor),
          updates_(
              {system_.executor, system_.defaults, network_, workspace_,
               [this](const NSAlert& alert, std::function<void(NSAlertResponse)> answered) {
                   windows_.showAlert(alert, std::move(answered));
               },
               [this](const std::string& sentence) { windows_.complainInFront(sentence); }, secondsSince1970},
              appInfo()),
          notifications_({system_.executor, services_.recorder, system_.defaults, system_.notifications,
                          center_, [this] { return windows_.isMainActive(); },
                          [this] { windows_.showMain(); },
                          [this](const std::filesystem::path& url) { previews_.windows.show(url); },
                          [this](const std::filesystem::path& url) { showInFolder(url); }}),
          control_(services_.recorder,
                   {[this] { windows_.showMain(); }, [this] { quit(); },
                    [this](const std::filesystem::path& url) { previews_.windows.show(url); }}),
          bus_(controlMethods(control_)),
          signals_({SIGINT, SIGTERM, SIGHUP}),
          appearance_([&application](const portal::AppearanceSettings& now) {
              const bool dark = now.colorScheme == portal::ColorScheme::dark;
              log(LogArea::ui, "theme: ", dark ? "dark" : "light");
              views::applyTheme(application, dark ? views::ColorScheme::dark : views::ColorScheme::light);
          }) {
        signals_.handle([this](int) { quit(); });
        session_.controlBar.setRecorder(&services_.recorder);
        session_.followScale(services_.recorder);
        previews_.windows.follow(services_.recorder);
        session_.areaSelector.setComplaints(
            [this](const std::string& sentence) { windows_.complain(sentence); });
        QObject::connect(&application, &QGuiApplication::commitDataRequest, &application,
                         [this](QSessionManager& session) { endSession(session); });
    }
    DesktopApp(const DesktopApp&) = delete;
    DesktopApp& operator=(const DesktopApp&) = delete;
    ~DesktopApp() {
        session_.audioRecorder.remove();
        session_.controlBar.setRecorder(nullptr);
    }

    /// Claims the application's name on the session bus. False when another instance has it; true also
    /// without a bus.
    bool claim() {
        const auto outcome = bus_.claim();
        log(LogArea::desktop, "name on the session bus: ",
            outcome == desktop::BusService::Outcome::claimed ? "claimed"
            : outcome == desktop::BusService::Outcome::taken ? "taken by another instance"
                                                             : "no bus");
        return outcome != desktop::BusService::Outcome::taken;
    }

    /// Whether a request to the web site is running.
    bool isRequesting() const { return network_.isBusy(); }

    /// `opened` is a recording to show instead of the main window, which is needed where there is no tray
    /// icon.
    void didFinishLaunching(bool inBackground, const std::optional<std::filesystem::path>& opened) {
        services_.recorder.followSources();
        services_.recorder.followDevices();
        session_.webcam.apply();
        library_.reload();
        std::string recovered;
        for (const std::string& sentence : recoverInterruptedRecordings())
            recovered += (recovered.empty() ? "" : "\n") + sentence;
        if (!recovered.empty()) windows_.complain(recovered);
        const bool showsMain = !tray_.isShown() || (!inBackground && !opened);
        if (showsMain) windows_.showMain();
        if (opened) previews_.windows.show(*opened);
        windows_.showWelcomeIfDue();
        windows_.showPermissionsIfMissing();
        updates_.checkIfDue();
    }

 private:
    /// Empty if this copy does not check for updates.
    std::function<void()> updateCommand() {
        if (!appInfo().checksForUpdates()) return nullptr;
        return [this] { updates_.check(true); };
    }
    void quit() {
        delegate_.applicationShouldTerminate([] { QApplication::quit(); });
    }

    void showInFolder(const std::filesystem::path& url) {
        try {
            workspace_.activateFileViewerSelecting({url});
        } catch (const PlatformError& error) {
            windows_.complainInFront(error.what());
        }
    }

    /// Saves a running recording first: the session ends as soon as this returns.
    void endSession(QSessionManager& session) {
        session.setRestartHint(QSessionManager::RestartNever);
        QEventLoop untilSaved;
        delegate_.applicationShouldTerminate([&untilSaved] { untilSaved.exit(); });
        if (delegate_.isTerminating()) untilSaved.exec();
    }

    SystemServices system_;
    DesktopSession session_;
    RecorderServices services_;
    desktop::Workspace workspace_;
    RecordingLibrary library_;
    Previews previews_;
    AppDelegate delegate_;
    AppWindows windows_;
    MenuBar menuBar_;
    views::TrayIcon tray_;
    desktop::URLSession network_;
    UpdateChecker updates_;
    desktop::UserNotifications center_;
    RecordingNotifications notifications_;
    RemoteControl control_;
    desktop::BusService bus_;
    Signals signals_;
    portal::Appearance appearance_;
};

}  // namespace

int runDesktopApp(bool inBackground, const std::optional<std::filesystem::path>& opened) try {
    std::error_code unknown;
    if (opened && !std::filesystem::is_regular_file(*opened, unknown)) {
        fmt::print(stderr, "lumicrate: {}\n",
                   fmt::format(fmt::runtime(localized("There is no file “{}”.")), opened->string()));
        return exitFailed;
    }
    // Before any thread is started, so that all of them inherit the blocked signals.
    Signals::block({SIGINT, SIGTERM, SIGHUP});
    const auto application = makeDesktopApplication();
    const auto callRunning = [&opened] {
        return opened ? desktop::callRunningInstance(openMethod, opened->string())
                      : desktop::callRunningInstance(methodName(RemoteCommand::activate));
    };
    if (callRunning()) return exitDone;
    std::optional<DesktopApp> app(std::in_place, *application);
    if (!app->claim()) {
        callRunning();
        return exitDone;
    }
    app->didFinishLaunching(inBackground, opened);
    const int status = QApplication::exec();
    const bool isRequesting = app->isRequesting();
    app.reset();
    // Qt would wait for a name look-up, which cannot be interrupted and may take many seconds.
    if (isRequesting) {
        std::fflush(nullptr);
        std::_Exit(status);
    }
    return status;
} catch (const LocalizedError& error) {
    fmt::print(stderr, "lumicrate: {}\n", error.what());
    return exitFailed;
}

}  // namespace lumicrate::app
