// SPDX-License-Identifier: GPL-3.0-or-later
#include "App/AppWindows.h"

#include "App/CaptureBackend.h"
#include "Linux/Desktop/LoginItem.h"
#include "Linux/Portal/LoginItemPortal.h"
#include "Linux/Portal/PortalBus.h"
#include "Lumicrate/Library/DerivedFiles.h"
#include "Lumicrate/Recording/SoundCheck.h"
#include "Support/DispatchQueue.h"
#include "Support/Error.h"
#include "Support/Log.h"
#include "Views/Settings/SettingsWindow.h"
#include "Views/Widgets/AlertSheet.h"
#include "Views/Widgets/QtText.h"

#include <QApplication>
#include <QEvent>
#include <QFileInfo>
#include <QProcess>
#include <QStandardPaths>
#include <utility>

namespace lumicrate::app {

namespace {

std::filesystem::path homeFolder() {
    return QStandardPaths::writableLocation(QStandardPaths::HomeLocation).toStdString();
}

/// Starts the program that is running, which is the installed one unless it is run from a build folder.
std::unique_ptr<SMAppService> makeLoginItem(NSUserDefaults& defaults) {
    if (portal::isSandboxed()) return std::make_unique<portal::LoginItemPortal>(defaults);
    return std::make_unique<desktop::LoginItem>(
        QFileInfo(QCoreApplication::applicationFilePath()).absoluteFilePath().toStdString());
}

/// In another process, so that what it finds out blocks no window. Calls back with its report.
void diagnose(std::function<void(const std::string& report)> collected) {
    auto* process = new QProcess(QCoreApplication::instance());
    process->setStandardInputFile(QProcess::nullDevice());
    process->setProcessChannelMode(QProcess::ForwardedErrorChannel);
    // Both end it; a program that cannot be started has no output.
    const auto end = [process, collected = std::move(collected)] {
        process->deleteLater();
        const bool isWhole = process->exitStatus() == QProcess::NormalExit && process->exitCode() == 0;
        collected(isWhole ? process->readAllStandardOutput().toStdString() : std::string());
    };
    QObject::connect(process, &QProcess::finished, process, end);
    QObject::connect(process, &QProcess::errorOccurred, process, [end](QProcess::ProcessError error) {
        if (error == QProcess::FailedToStart) end();
    });
    process->start(QCoreApplication::applicationFilePath(), {QStringLiteral("diagnose")});
}

}  // namespace

/// Notices that the main window was closed: closing only hides it.
class AppWindows::CloseWatch final : public QObject {
 public:
    explicit CloseWatch(const std::function<void()>& closed) : closed_(closed) {}

 protected:
    bool eventFilter(QObject*, QEvent* event) override {
        if (event->type() == QEvent::Close) closed_();
        return false;
    }

 private:
    const std::function<void()>& closed_;
};

AppWindows::AppWindows(SystemServices& system, DesktopSession& session, RecorderServices& services,
                       RecordingLibrary& library, desktop::Workspace& workspace, Commands commands)
    : system_(system),
      session_(session),
      services_(services),
      library_(library),
      workspace_(workspace),
      commands_(std::move(commands)),
      info_(appInfo()),
      loginItem_(makeLoginItem(system.defaults)),
      applicationPicker_({system.executor, session.areaSelector, session.screens, system.capture}),
      content_(contentServices()),
      permissions_({}, [this] { checkPermissions([] {}); }),
      closeWatch_(std::make_unique<CloseWatch>(commands_.mainClosed)) {}

AppWindows::~AppWindows() {
    delete alert_;
}

MainWindowModel::Services AppWindows::contentServices() {
    MainWindowModel::Commands commands;
    commands.openSettings = [this] { showSettings(); };
    commands.openFolder = [this] { openRecordingsFolder(); };
    commands.checkForUpdates = commands_.checkForUpdates;
    commands.showAbout = [this] { showAbout(); };
    commands.quit = commands_.quit;
    commands.menu = commands_.recordingMenu;
    return {system_.executor,
            system_.defaults,
            services_.recorder,
            library_,
            RecordingFiles(system_.files, system_.notifications),
            workspace_,
            images_,
            std::make_unique<SerialQueue>("Lumicrate.thumbnails"),
            &session_.pictures,
            &services_.sound.progress(),
            views::formatDate,
            std::move(commands),
            session_.abilities};
}

void AppWindows::showMain() {
    if (!main_) {
        main_ = std::make_unique<views::MainWindow>(content_);
        main_->installEventFilter(closeWatch_.get());
    }
    views::bringForward(*main_);
}

void AppWindows::showSettings() {
    windows_.show("settings", [this] {
        return std::make_unique<views::SettingsWindow>(std::make_unique<SettingsModel>(
            SettingsModel::Services{{system_.defaults, services_.hotKeys, session_.keyMonitor,
                                     [this] { services_.recorder.registerHotKeys(); }, QApplication::beep},
                                    *loginItem_,
                                    services_.recorder.microphones,
                                    services_.recorder.cameras,
                                    services_.recorder.unavailableHotKeys,
                                    services_.recorder.missingHotKeys,
                                    services_.folder,
                                    homeFolder(),
                                    [this] { openFolder(); },
                                    info_.checksForUpdates(),
                                    session_.abilities,
                                    applicationPick()}));
    });
}

NeverRecordedList::Pick AppWindows::applicationPick() {
    if (!system_.capture.canExcludeWindows()) return {};
    return [this](ApplicationPicker::Picked picked) {
        // It would end the selection of a recording.
        const bool isIdle = *services_.recorder.state == ScreenRecorder::State::idle;
        if (isIdle) applicationPicker_.pick(std::move(picked));
    };
}

void AppWindows::showAbout() {
    windows_.show("about", [this] {
        return std::make_unique<views::AboutWindow>(
            info_, displayPath(services_.folder.folder(), homeFolder()), [this] { openFolder(); },
            [this](const std::string& address) { workspace_.openWebPage(address); }, diagnose);
    });
}

void AppWindows::showWelcomeIfDue() {
    if (!Welcome::isDue(system_.defaults)) return;
    windows_.show("welcome", [this] {
        return std::make_unique<views::WelcomeWindow>(
            std::make_unique<Welcome>(system_.defaults, *loginItem_, services_.folder.folder(), homeFolder(),
                                      services_.hotKeys.assignment()));
    });
}

void AppWindows::showPermissionsIfMissing() {
    checkPermissions([this] {
        if (permissions_.missing->empty()) return;
        windows_.show("permissions",
                      [this] { return std::make_unique<views::PermissionWindow>(permissions_); });
    });
}

void AppWindows::checkPermissions(std::function<void()> checked) {
    permissionCheck_ = RunningTask(system_.executor, updatePermissions(std::move(checked)));
}

Task<void> AppWindows::updatePermissions(std::function<void()> checked) {
    Task<SoundDevices> asking = fetchSoundDevices(system_.devices, system_.executor, permissionQueue_);
    const SoundDevices sound = co_await asking;
    permissions_.update(facts(sound.hasServer));
    checked();
}

void AppWindows::openFolder() {
    // It does not exist before the first recording.
    system_.files.createDirectory(services_.folder.folder());
    workspace_.openURL(services_.folder.folder());
}

void AppWindows::openRecordingsFolder() {
    try {
        openFolder();
    } catch (const PlatformError& error) {
        complainInFront(error.what());
    }
}

void AppWindows::complainInFront(const std::string& sentence) {
    complain(sentence);
    showMain();
}

void AppWindows::showAlert(const NSAlert& alert, std::function<void(NSAlertResponse)> answered) {
    delete alert_;
    QWidget* over = main_ && main_->isVisible() ? main_.get() : nullptr;
    if (over) views::bringForward(*over);
    alert_ = views::showAlertSheet(over, alert, std::move(answered));
    views::bringForward(*alert_);
}

Permissions::Facts AppWindows::facts(bool soundReachable) const {
    Permissions::Facts facts;
    facts.screenReachable = system_.capture.CGPreflightScreenCaptureAccess();
    facts.soundReachable = soundReachable;
    facts.cameraReachable = system_.devices.authorizationStatusForVideo() != AVAuthorizationStatus::denied;
    facts.usesPortal = captureBackend() == CaptureBackend::portal;
    log(LogArea::ui, "screen reachable: ", facts.screenReachable, ", sound reachable: ", facts.soundReachable,
        ", by the portal: ", facts.usesPortal);
    return facts;
}

}  // namespace lumicrate::app
