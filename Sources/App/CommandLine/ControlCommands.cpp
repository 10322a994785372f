// SPDX-License-Identifier: GPL-3.0-or-later
// The commands that talk to the running application: open, toggle, pause, area, status and quit.
#include "App/CommandLine/CommandLine.h"
#include "App/RecorderInterface.h"
#include "App/Signals.h"
#include "Linux/Desktop/SessionBus.h"
#include "Support/Text.h"

#include <fmt/format.h>

#include <QEventLoop>
#include <algorithm>
#include <array>
#include <csignal>
#include <cstdio>
#include <utility>

namespace lumicrate::app {

namespace {

constexpr std::array statusOptions{
    jsonOption.front(),
    OptionSpec{"follow", OptionSpec::Kind::flag, "",
               translatable("Print it again at each change, until the application quits.")},
};

[[noreturn]] void throwNotRunning() {
    throw LocalizedError(localized("Lumicrate is not running, or cannot be reached."));
}

void callApplication(const std::string& method, const QVariantList& arguments = {}) {
    if (!desktop::callRunningInstance(recorderInterfaceName(), method, arguments)) throwNotRunning();
}

template <RemoteCommand command>
int runRemote(const ParsedOptions& parsed) {
    refusePositional(parsed);
    callApplication(methodName(command));
    return exitDone;
}

int runArea(const ParsedOptions& parsed) {
    refusePositional(parsed);
    callApplication(recordMethod,
                    {QString::fromStdString(std::string(rawValue(CaptureMode::area))), QVariantMap()});
    return exitDone;
}

std::string describe(const RemoteStatus& status) {
    std::string text = status.state;
    if (status.file) {
        text += " " + formatElapsed(status.elapsed) + "\n" + *status.file;
    } else if (status.error) {
        text += "\n" + *status.error;
    }
    return text;
}

/// One line for each status.
std::string describeOnOneLine(const RemoteStatus& status) {
    std::string text = describe(status);
    std::ranges::replace(text, '\n', ' ');
    return text;
}

/// Until the application quits, or a signal ends this.
int follow(bool asJson) {
    Signals::block({SIGINT, SIGTERM, SIGHUP});
    QEventLoop loop;
    std::string printed;
    const auto print = [&](const RemoteStatus& status) {
        std::string line = asJson ? toJSON(status) : describeOnOneLine(status);
        if (std::exchange(printed, line) == line) return;
        fmt::print("{}\n", line);
        // Whoever reads it waits for it.
        std::fflush(stdout);
    };
    // Before the first status is asked for, so that no change is missed in between.
    const desktop::InstanceWatch watch(
        recorderInterfaceName(), [&](const QVariantMap& properties) { print(statusIn(properties)); },
        [&loop] { loop.quit(); });
    const auto now = runningStatus();
    if (!now) throwNotRunning();
    print(*now);
    Signals signals({SIGINT, SIGTERM, SIGHUP});
    signals.handle([&loop](int) { loop.quit(); });
    return loop.exec();
}

int runStatus(const ParsedOptions& parsed) {
    refusePositional(parsed);
    if (parsed.has("follow")) return follow(parsed.has("json"));
    const auto status = runningStatus();
    if (!status) throwNotRunning();
    fmt::print("{}\n", parsed.has("json") ? toJSON(*status) : describe(*status));
    return exitDone;
}

constexpr std::array replayOptions{
    OptionSpec{"save", OptionSpec::Kind::flag, "", translatable("Save what is kept, and print the file.")},
    OptionSpec{"record", OptionSpec::Kind::flag, "",
               translatable("Begin a recording that includes what is kept.")}};

/// Until the application announces the file or an error.
int saveReplay() {
    QEventLoop loop;
    const auto before = runningStatus();
    if (!before) throwNotRunning();
    RemoteStatus after;
    const desktop::InstanceWatch watch(
        recorderInterfaceName(),
        [&](const QVariantMap& properties) {
            after = statusIn(properties);
            // The name may be the same again if that file has been deleted.
            const bool isSaved = after.lastRecording && (after.lastRecording != before->lastRecording ||
                                                         after.state == before->state);
            if (isSaved || after.error) loop.exit(isSaved ? exitDone : exitFailed);
        },
        [&loop] { loop.exit(exitFailed); });
    callApplication(methodName(RemoteCommand::saveReplay));
    if (loop.exec() != exitDone) {
        if (!after.error) throwNotRunning();
        throw LocalizedError(*after.error);
    }
    fmt::print("{}\n", *after.lastRecording);
    return exitDone;
}

int runReplay(const ParsedOptions& parsed) {
    refusePositional(parsed);
    if (parsed.has("save")) return saveReplay();
    if (parsed.has("record")) {
        callApplication(methodName(RemoteCommand::recordReplay));
        return exitDone;
    }
    const auto status = runningStatus();
    if (!status) throwNotRunning();
    if (!status->replay) throw LocalizedError(localized("The last seconds are not being kept."));
    fmt::print("{}\n",
               localized("{} s are kept, in {} of memory.",
                         {formatTenths(status->replay->seconds), formatByteCount(status->replay->bytes)}));
    return exitDone;
}

constexpr std::array openOperand{ValueKind::recording};

/// With a file the command is the application's own start.
int runOpen(const ParsedOptions&) {
    throw UsageError(localized("“open” needs one file."));
}

}  // namespace

constinit const Command openCommand{
    "open",  translatable("Show a recording in its preview."),
    "FILE",  translatable("Opens the preview in the running application, or starts the application with it."),
    {},      runOpen,
    nullptr, openOperand};

constinit const Command toggleCommand{
    "toggle",
    translatable("Start or stop a recording."),
    "",
    translatable("Makes the running application start a recording, cancel its countdown, or stop it."),
    {},
    runRemote<RemoteCommand::toggle>};

constinit const Command pauseCommand{
    "pause", translatable("Pause or resume the recording."),
    "",      translatable("Makes the running application pause its recording, or resume it."),
    {},      runRemote<RemoteCommand::togglePause>};

constinit const Command areaCommand{
    "area", translatable("Record an area."),
    "",     translatable("Makes the running application record an area, which is chosen on the screen."),
    {},     runArea};

constinit const Command replayCommand{
    "replay",
    translatable("Save what was shown in the last seconds."),
    "[--save | --record]",
    translatable("Prints how much the running application keeps of what was shown last, or saves it. How "
                 "many seconds it keeps\nis set with “lumicrate settings replaySeconds 30”."),
    replayOptions,
    runReplay};

constinit const Command statusCommand{
    "status",
    translatable("Print what the application is doing."),
    "[--json] [--follow]",
    translatable(
        "Prints what the running application is doing: idle, selectingArea, countingDown, starting,\n"
        "recording, paused or stopping, the time recorded, and the file. With --follow, one line or JSON "
        "object\n"
        "at each change."),
    statusOptions,
    runStatus};

constinit const Command quitCommand{
    "quit", translatable("Save what is being recorded, and quit the application."),
    "",     translatable("Quits the running application; a recording is stopped and saved first."),
    {},     runRemote<RemoteCommand::quit>};

}  // namespace lumicrate::app
