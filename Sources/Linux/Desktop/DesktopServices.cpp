// SPDX-License-Identifier: GPL-3.0-or-later
#include "Linux/Desktop/DesktopServices.h"

#include "Linux/Desktop/Inhibition.h"
#include "Linux/Desktop/NotificationHold.h"
#include "Linux/Desktop/ServiceCall.h"
#include "Linux/Desktop/SessionBus.h"
#include "Support/Error.h"
#include "Support/Log.h"

#include <unistd.h>

#include <QDBusConnection>
#include <QDBusMessage>
#include <QFileInfo>
#include <QProcess>
#include <QStandardPaths>
#include <QString>
#include <QStringList>
#include <QUrl>
#include <QVariant>
#include <csignal>
#include <ctime>
#include <set>
#include <utility>

namespace lumicrate::desktop {

namespace {

/// xdg-open ends itself within a few seconds if it finds no program to start.
constexpr auto maxOpeningTime = std::chrono::seconds(10);
/// The exit status of xdg-open if no program is there that could open the file.
constexpr int noProgram = 3;

std::string openingFailed(const std::string& name, const char* reason) {
    return localized("“{}” couldn't be opened: {}", {name, localized(reason)});
}

QString absolutePath(const std::filesystem::path& url) {
    return QString::fromStdString(std::filesystem::absolute(url).string());
}

/// Makes the child process independent of this one: Ctrl-C does not end it, and it receives the signals that
/// the application blocks for itself.
void detach() {
    setsid();
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
}

/// Never destroyed, because that would end the programs, which outlive this one.
std::set<QProcess*>& runningPrograms() {
    static auto& programs = *new std::set<QProcess*>;
    return programs;
}

/// Starts a program that outlives this process. Returns whether it could be started. `ended` receives the
/// exit status, or 128 and the number of a signal.
bool start(const QString& program, const QStringList& arguments, bool keepsErrors,
           std::function<void(int)> ended) {
    auto* process = new QProcess;
    process->setStandardInputFile(QProcess::nullDevice());
    process->setStandardOutputFile(QProcess::nullDevice());
    if (keepsErrors) {
        process->setProcessChannelMode(QProcess::ForwardedErrorChannel);
    } else {
        process->setStandardErrorFile(QProcess::nullDevice());
    }
    process->setChildProcessModifier(detach);
    QObject::connect(process, &QProcess::finished, process,
                     [process, ended = std::move(ended)](int status, QProcess::ExitStatus how) {
                         runningPrograms().erase(process);
                         process->deleteLater();
                         constexpr int signalled = 128;
                         if (ended) ended(how == QProcess::NormalExit ? status : signalled + status);
                     });
    process->start(program, arguments);
    runningPrograms().insert(process);
    if (process->waitForStarted()) return true;
    runningPrograms().erase(process);
    delete process;
    return false;
}

/// `target` is a path or address, `name` is its name for the user. Returns false if xdg-open cannot be
/// started.
bool startOpener(const QString& target, const std::string& name, const Workspace::FailureHandler& failed) {
    const QString opener = QStandardPaths::findExecutable(QStringLiteral("xdg-open"));
    if (opener.isEmpty()) return false;
    const auto ended = [name, failed, started = std::chrono::steady_clock::now()](int status) {
        // Some desktops' xdg-open is replaced by the program that it opens, which may fail much later.
        const bool wasOpened = std::chrono::steady_clock::now() - started > maxOpeningTime;
        if (status == 0 || wasOpened) return;
        log(LogArea::desktop, "xdg-open failed with status ", status);
        failed(openingFailed(name, status == noProgram ? translatable("no program for it is installed.")
                                                       : translatable("the program “xdg-open” failed.")));
    };
    return start(opener, {target}, /*keepsErrors=*/false, ended);
}

void open(const QString& target, const std::string& name, const Workspace::FailureHandler& failed) {
    if (!startOpener(target, name, failed))
        throw PlatformError(openingFailed(name, translatable("the program “xdg-open” can't be started.")));
}

std::chrono::nanoseconds read(clockid_t clock) {
    timespec time{};
    clock_gettime(clock, &time);
    return std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
}

}  // namespace

ProcessInfo::ProcessInfo(Inhibitor inhibitor) : inhibitor_(std::move(inhibitor)) {}

std::int32_t ProcessInfo::processIdentifier() const {
    return getpid();
}

std::chrono::nanoseconds ProcessInfo::timeAsleep() const {
    return read(CLOCK_BOOTTIME) - read(CLOCK_MONOTONIC);
}

std::unique_ptr<NSActivity> ProcessInfo::beginActivity(std::uint64_t options, const std::string& reason) {
    constexpr std::uint64_t displaySleepDisabled = 1ULL << 40;
    if ((options & displaySleepDisabled) == 0) return std::make_unique<NSActivity>();
    if (inhibitor_) return inhibitor_(reason);
    return std::make_unique<Inhibition>(reason);
}

std::unique_ptr<NSActivity> ProcessInfo::holdNotifications(const std::string& reason) {
    return std::make_unique<NotificationHold>(reason);
}

bool isUpdatedByStore() {
    return qEnvironmentVariableIsSet("SNAP") || qEnvironmentVariableIsSet("FLATPAK_ID") ||
           QFileInfo::exists(QStringLiteral("/.flatpak-info"));
}

void TaskLauncher::launch(const std::vector<std::string>& programAndArguments,
                          std::function<void(int status)> ended) {
    QStringList words;
    for (const std::string& each : programAndArguments)
        words << QString::fromStdString(each);
    const QString program = words.takeFirst();
    if (!start(program, words, /*keepsErrors=*/true, std::move(ended)))
        throw PlatformError(localized("the program can't be started: ") + "“" + programAndArguments.front() +
                            "”");
}

Workspace::Workspace(FailureHandler failed)
    : failed_(std::make_shared<const FailureHandler>(std::move(failed))) {}

/// Does nothing once the workspace is gone: what was opened may fail later.
Workspace::FailureHandler Workspace::failureHandler() const {
    return [handler = std::weak_ptr(failed_)](const std::string& sentence) {
        const auto failed = handler.lock();
        if (failed && *failed) (*failed)(sentence);
    };
}

void Workspace::openURL(const std::filesystem::path& url) {
    open(absolutePath(url), url.filename().string(), failureHandler());
}

void Workspace::openWebPage(const std::string& address) {
    open(QString::fromStdString(address), address, failureHandler());
}

void Workspace::activateFileViewerSelecting(const std::vector<std::filesystem::path>& urls) {
    if (urls.empty()) return;
    const std::filesystem::path folder = std::filesystem::absolute(urls.front()).parent_path();
    if (!sessionBusExists()) return openURL(folder);
    QStringList addresses;
    for (const std::filesystem::path& each : urls)
        addresses << QString::fromLatin1(QUrl::fromLocalFile(absolutePath(each)).toEncoded());
    QDBusMessage call = QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.FileManager1"), QStringLiteral("/org/freedesktop/FileManager1"),
        QStringLiteral("org.freedesktop.FileManager1"), QStringLiteral("ShowItems"));
    call << addresses << QString();
    callService<>(call, nullptr, [folder, failed = failureHandler()](const QDBusPendingReply<>& reply) {
        if (!reply.isError()) return;
        log(LogArea::desktop, "no file manager service: opening the folder");
        try {
            open(absolutePath(folder), folder.filename().string(), failed);
        } catch (const PlatformError& error) {
            failed(error.what());
        }
    });
}

}  // namespace lumicrate::desktop
