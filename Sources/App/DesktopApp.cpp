#include "App/DesktopApp.h"

#include "App/AppWindows.h"
#include "App/CommandLine/CommandLine.h"
#include "App/CommandLine/Recovery.h"
#include "App/ControlMethods.h"
#include "App/Desk.h"
#include "App/LibraryServices.h"
#include "App/Machine.h"
#include "App/Services.h"
#include "App/Signals.h"
#include "Linux/Capture/CaptureKit.h"
#include "Linux/Desktop/Appearance.h"
#include "Linux/Desktop/BusService.h"
#include "Linux/Desktop/FolderWatch.h"
#include "Linux/Desktop/SessionBus.h"
#include "Linux/Desktop/Workspace.h"
#include "Lumicrate/Library/RecordingLibrary.h"
#include "Lumicrate/Shell/AppDelegate.h"
#include "Lumicrate/Shell/MenuBar.h"
#include "Lumicrate/Shell/RemoteControl.h"
#include "Support/Error.h"
#include "Views/Shell/TrayIcon.h"
#include "Views/Widgets/Symbols.h"
#include "Views/Widgets/Theme.h"

#include <fmt/format.h>

#include <QApplication>
#include <QEventLoop>
#include <QSessionManager>
#include <csignal>
#include <cstdio>
#include <memory>

namespace lumicrate::app {

namespace {

/// What the toolkit has to be told before it starts.
void prepareEnvironment() {
    // Windows and capture are to be on the same server.
    if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "xcb");
    // Without this the bus library would try to start a bus.
    if (!desktop::sessionBusExists()) qputenv("DBUS_SESSION_BUS_ADDRESS", "disabled:");
}

/// A folder that is not there, or a system that has no more watches, only means that changes by others stay
/// unseen.
std::unique_ptr<FolderWatch> watchOf(const std::filesystem::path& folder) {
    try {
        return std::make_unique<desktop::FolderWatch>(folder);
    } catch (const PlatformError&) {
        return nullptr;
    }
}

/// Everything, in the order in which it stands on each other.
class DesktopApp {
 public:
    explicit DesktopApp(QApplication& application)
        : desk_(machine_),
          services_(machine_, desk_.parts()),
          library_({machine_.executor, machine_.files, machine_.notifications, services_.folder, workspace_,
                    lengthReaders(), watchOf(services_.folder.folder()),
                    [this](const std::filesystem::path& url) { workspace_.openURL(url); },
                    QApplication::beep}),
          delegate_(machine_.executor, services_.recorder),
          windows_(machine_, desk_, services_, library_, workspace_,
                   {[this] { quit(); }, [this] { return menuBar_.recordingItems(); },
                    [this] {
                        // Where nothing else is left to see of the program, nobody could end it.
                        if (!tray_.isShown()) quit();
                    }}),
          menuBar_(services_.recorder, machine_.defaults,
                   {[this] { windows_.showMain(); }, [this] { windows_.openRecordingsFolder(); },
                    [this] { windows_.showAbout(); }, [this] { quit(); }}),
          tray_(menuBar_, services_.recorder),
          control_(
              services_.recorder, [this] { windows_.showMain(); }, [this] { quit(); }),
          bus_(controlMethods(control_)),
          signals_({SIGINT, SIGTERM, SIGHUP}, [this](int) { quit(); }),
          appearance_([&application](bool dark) {
              views::applyTheme(application, dark ? views::ColorScheme::dark : views::ColorScheme::light);
          }) {
        desk_.controlBar.setRecorder(&services_.recorder);
        desk_.audioAtOnce.setRecorder(services_.recorder);
        desk_.areaSelector.setComplaints(
            [this](const std::string& sentence) { windows_.complain(sentence); });
        QObject::connect(&application, &QGuiApplication::commitDataRequest, &application,
                         [this](QSessionManager& session) { endSession(session); });
    }
    DesktopApp(const DesktopApp&) = delete;
    DesktopApp& operator=(const DesktopApp&) = delete;
    ~DesktopApp() { desk_.controlBar.setRecorder(nullptr); }

    /// Whether this is the one program that runs; where there is no bus nobody can tell.
    bool claim() { return bus_.claim() != desktop::BusService::Outcome::taken; }

    void didFinishLaunching(bool inBackground) {
        services_.recorder.followSources();
        services_.recorder.followDevices();
        library_.reload();
        std::string recovered;
        for (const std::string& sentence : recoverInterruptedRecordings())
            recovered += (recovered.empty() ? "" : "\n") + sentence;
        if (!recovered.empty()) windows_.complain(recovered);
        if (!inBackground || !tray_.isShown()) windows_.showMain();
        windows_.showWelcomeIfDue();
        windows_.showPermissionsIfMissing();
    }

 private:
    void quit() {
        delegate_.applicationShouldTerminate([] { QApplication::quit(); });
    }

    /// The session waits for this to return, so a recording is saved first.
    void endSession(QSessionManager& session) {
        session.setRestartHint(QSessionManager::RestartNever);
        QEventLoop untilSaved;
        delegate_.applicationShouldTerminate([&untilSaved] { untilSaved.exit(); });
        if (delegate_.isTerminating()) untilSaved.exec();
    }

    Machine machine_;
    Desk desk_;
    Services services_;
    desktop::Workspace workspace_;
    RecordingLibrary library_;
    AppDelegate delegate_;
    AppWindows windows_;
    MenuBar menuBar_;
    views::TrayIcon tray_;
    RemoteControl control_;
    desktop::BusService bus_;
    Signals signals_;
    desktop::Appearance appearance_;
};

}  // namespace

int runDesktopApp(int argc, char** argv, bool inBackground) try {
    // The toolkit would only abort.
    if (!capture::CaptureKit().CGPreflightScreenCaptureAccess()) {
        fmt::print(
            stderr, "lumicrate: {}\n",
            localized("No display server can be reached; “lumicrate --help” tells what works without."));
        return exitFailed;
    }
    // Before any thread is started, so that all of them leave the signals to the loop.
    Signals::block({SIGINT, SIGTERM, SIGHUP});
    prepareEnvironment();
    QApplication application(argc, argv);
    QApplication::setQuitOnLastWindowClosed(false);
    QApplication::setWindowIcon(views::applicationIcon());
    views::applyTheme(application, views::ColorScheme::light);
    if (desktop::callRunningProgram(methodName(RemoteCommand::activate))) return exitDone;
    DesktopApp app(application);
    if (!app.claim()) {
        desktop::callRunningProgram(methodName(RemoteCommand::activate));
        return exitDone;
    }
    app.didFinishLaunching(inBackground);
    return QApplication::exec();
} catch (const PlatformError& error) {
    fmt::print(stderr, "lumicrate: {}\n", error.what());
    return exitFailed;
}

}  // namespace lumicrate::app
