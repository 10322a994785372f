// SPDX-License-Identifier: GPL-3.0-or-later
#include "App/DesktopApp.h"

#include "App/AppWindows.h"
#include "App/Application.h"
#include "App/CommandLine/CommandLine.h"
#include "App/DesktopSession.h"
#include "App/Previews.h"
#include "App/RecorderInterface.h"
#include "App/RecorderServices.h"
#include "App/RemoteRecording.h"
#include "App/Signals.h"
#include "App/SystemServices.h"
#include "Linux/Desktop/ApplicationInterface.h"
#include "Linux/Desktop/DesktopServices.h"
#include "Linux/Desktop/LauncherEntry.h"
#include "Linux/Desktop/SessionBus.h"
#include "Linux/Desktop/URLSession.h"
#include "Linux/Desktop/UserNotifications.h"
#include "Linux/Portal/Appearance.h"
#include "Lumicrate/Library/RecordingLibrary.h"
#include "Lumicrate/Shell/AfterSave.h"
#include "Lumicrate/Shell/AppDelegate.h"
#include "Lumicrate/Shell/LauncherActions.h"
#include "Lumicrate/Shell/MenuBar.h"
#include "Lumicrate/Shell/RecordingBadge.h"
#include "Lumicrate/Shell/RecordingNotifications.h"
#include "Lumicrate/Shell/RemoteControl.h"
#include "Lumicrate/Shell/UpdateChecker.h"
#include "Support/Error.h"
#include "Support/Log.h"
#include "Views/Shell/Launch.h"
#include "Views/Shell/TrayIcon.h"
#include "Views/Widgets/Accessibility.h"
#include "Views/Widgets/Theme.h"

#include <fmt/format.h>

#include <QApplication>
#include <QEventLoop>
#include <QSessionManager>
#include <QTimer>
#include <algorithm>
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

/// As long as other programs that can be activated on the bus wait for a call.
constexpr std::chrono::seconds timeUnused(10);

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
          replay_(replayServices(system_, services_)),
          menuBar_(services_.recorder, replay_, system_.defaults,
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
          badge_(system_.executor, services_.recorder, services_.sound.progress(), launcherEntry_),
          afterSave_(
              system_.notifications, system_.defaults, tasks_,
              [this](const std::string& sentence) { report(localized("The recording is saved"), sentence); }),
          control_(system_.executor, services_.recorder, replay_, system_.notifications, [this] { quit(); }),
          launcherActions_(services_.recorder, [this] { windows_.openRecordingsFolder(); }),
          bus_({recorderInterface(control_,
                                  [this](const std::string& mode, const QVariantMap& options) {
                                      startRemoteRecording(system_, services_.recorder, mode, options);
                                  })},
               {[](const std::string& name) { return fromRawValue<LauncherAction>(name).has_value(); },
                [this](const desktop::ApplicationCall& call) { handle(call); }}),
          signals_({SIGINT, SIGTERM, SIGHUP}),
          appearance_([this, &application](const portal::AppearanceSettings& now) {
              followAppearance(application, now);
          }) {
        signals_.handle([this](int) { quit(); });
        unused_.setSingleShot(true);
        QObject::connect(&unused_, &QTimer::timeout, &unused_, [this] { quitIfUnused(); });
        announceEvents(control_, bus_);
        replaySaves_ = replay_.lastSaved.observe([this](const auto& url) { reportReplay(*url); });
        replayErrors_ = replay_.errorMessage.observe([this](const auto& sentence) {
            if (sentence) report(localized("The last seconds"), *sentence);
        });
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

    void didFinishLaunching(const ApplicationStart& start) {
        services_.recorder.followSources();
        services_.recorder.followDevices();
        session_.webcam.apply();
        library_.reload();
        std::string recovered;
        for (const std::string& sentence : recoverInterruptedRecordings())
            recovered += (recovered.empty() ? "" : "\n") + sentence;
        if (!recovered.empty()) windows_.complain(recovered);
        if (start.windows == ApplicationStart::Windows::onRequest) {
            unused_.start(timeUnused);
        } else {
            const bool hasOther = !start.opened.empty() || start.action;
            beUsed(start.windows == ApplicationStart::Windows::shown && !hasOther);
            open(start.opened);
            if (start.action) launcherActions_.perform(*start.action);
        }
        updates_.checkIfDue();
    }

 private:
    /// Empty if this copy does not check for updates.
    std::function<void()> updateCommand() {
        if (!appInfo().checksForUpdates()) return nullptr;
        return [this] { updates_.check(true); };
    }
    void showFirstWindows() {
        if (std::exchange(hasShownFirstWindows_, true)) return;
        windows_.showWelcomeIfDue();
        windows_.showPermissionsIfMissing();
    }

    void beUsed(bool showsMain) {
        unused_.stop();
        // Without a tray icon there is nothing else to quit the application with.
        if (showsMain || !tray_.isShown()) windows_.showMain();
        showFirstWindows();
    }

    void open(const std::vector<std::filesystem::path>& files) {
        for (const std::filesystem::path& each : files)
            previews_.windows.show(each);
    }

    /// A call of the desktop.
    void handle(const desktop::ApplicationCall& call) {
        const views::Launch launch(call.startupId);
        if (const auto* action = std::get_if<desktop::ApplicationCall::Action>(&call.request)) {
            perform(action->name);
        } else if (const auto* opening = std::get_if<desktop::ApplicationCall::Open>(&call.request)) {
            beUsed(false);
            open(opening->files);
        } else {
            beUsed(true);
        }
    }

    void perform(const std::string& name) {
        const auto action = fromRawValue<LauncherAction>(name);
        if (!action) return;
        if (*action != LauncherAction::openRecordingsFolder) beUsed(false);
        launcherActions_.perform(*action);
    }

    /// Ends an application that the bus has started and nobody has used, such as for the folder alone.
    void quitIfUnused() {
        const bool isVisible = std::ranges::any_of(QApplication::topLevelWidgets(), &QWidget::isVisible);
        if (*services_.recorder.state == ScreenRecorder::State::idle && !isVisible) quit();
    }

    void followAppearance(QApplication& application, const portal::AppearanceSettings& now) {
        const bool dark = now.colorScheme == portal::ColorScheme::dark;
        log(LogArea::ui, "theme: ", dark ? "dark" : "light", now.highContrast ? ", high contrast" : "",
            now.reducedMotion ? ", reduced motion" : "");
        views::applyTheme(application, dark ? views::ColorScheme::dark : views::ColorScheme::light,
                          now.highContrast ? views::Contrast::high : views::Contrast::normal);
        views::setReducedMotion(now.reducedMotion);
        session_.setReducedMotion(now.reducedMotion);
    }
    void quit() {
        delegate_.applicationShouldTerminate([] { QApplication::quit(); });
    }

    /// In the main window, and as a notification unless it has the keyboard focus.
    void report(const std::string& title, const std::string& sentence) {
        windows_.complain(sentence);
        if (windows_.isMainActive()) return;
        center_.add({title, sentence, {{localized("Show"), [this] { windows_.showMain(); }}}, true});
    }
    void reportReplay(const std::filesystem::path& url) {
        center_.add({localized("The last seconds are saved"),
                     url.filename().string(),
                     {{localized("Open"), [this, url] { previews_.windows.show(url); }},
                      {localized("Show in Folder"), [this, url] { showInFolder(url); }}},
                     false});
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
    Replay replay_;
    MenuBar menuBar_;
    views::TrayIcon tray_;
    desktop::URLSession network_;
    UpdateChecker updates_;
    desktop::UserNotifications center_;
    RecordingNotifications notifications_;
    desktop::LauncherEntry launcherEntry_;
    RecordingBadge badge_;
    desktop::TaskLauncher tasks_;
    AfterSave afterSave_;
    RemoteControl control_;
    LauncherActions launcherActions_;
    desktop::BusService bus_;
    Signals signals_;
    portal::Appearance appearance_;
    bool hasShownFirstWindows_ = false;
    Subscription replaySaves_;
    Subscription replayErrors_;
    QTimer unused_;  ///< runs while nobody has used what the bus has started
};

/// What a running instance shall do instead of `start`.
desktop::ApplicationCall callFor(const ApplicationStart& start) {
    desktop::ApplicationCall call;
    if (!start.opened.empty()) call.request = desktop::ApplicationCall::Open{start.opened};
    if (start.action) call.request = desktop::ApplicationCall::Action{std::string(rawValue(*start.action))};
    call.startupId = desktop::ownStartupId();
    return call;
}

}  // namespace

int runDesktopApp(const ApplicationStart& start) try {
    for (const std::filesystem::path& each : start.opened) {
        std::error_code unknown;
        if (std::filesystem::is_regular_file(each, unknown)) continue;
        fmt::print(stderr, "lumicrate: {}\n", localized("There is no file “{}”.", {each.string()}));
        return exitFailed;
    }
    // Before any thread is started, so that all of them inherit the blocked signals.
    Signals::block({SIGINT, SIGTERM, SIGHUP});
    const desktop::ApplicationCall call = callFor(start);
    const auto application = makeDesktopApplication();
    if (desktop::callRunningApplication(call)) return exitDone;
    std::optional<DesktopApp> app(std::in_place, *application);
    if (!app->claim()) {
        desktop::callRunningApplication(call);
        return exitDone;
    }
    app->didFinishLaunching(start);
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
