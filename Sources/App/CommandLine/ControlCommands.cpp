// SPDX-License-Identifier: GPL-3.0-or-later
// The commands that talk to the running application: open, toggle, pause, area, status and quit.
#include "App/CommandLine/CommandLine.h"
#include "App/ControlMethods.h"
#include "Linux/Desktop/SessionBus.h"
#include "Support/Text.h"

#include <fmt/format.h>

#include <array>

namespace lumicrate::app {

namespace {

constexpr std::array statusOptions{
    OptionSpec{"json", OptionSpec::Kind::flag, "", translatable("As JSON, for programs.")}};

std::string callApplication(const std::string& method) {
    const std::optional<std::string> answer = desktop::callRunningInstance(method);
    if (!answer) throw LocalizedError(localized("Lumicrate is not running, or cannot be reached."));
    return *answer;
}

template <RemoteCommand command>
int runRemote(const ParsedOptions& parsed) {
    refusePositional(parsed);
    callApplication(methodName(command));
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

int runStatus(const ParsedOptions& parsed) {
    refusePositional(parsed);
    const std::string text = callApplication(statusMethod);
    const std::optional<RemoteStatus> status = parseRemoteStatus(text);
    if (!status) throw LocalizedError(localized("The running Lumicrate has another version."));
    fmt::print("{}\n", parsed.has("json") ? text : describe(*status));
    return exitDone;
}

/// With a file the command is the application's own start.
int runOpen(const ParsedOptions&) {
    throw UsageError(localized("“open” needs one file."));
}

}  // namespace

constinit const Command openCommand{
    "open", translatable("Show a recording in its preview."),
    "FILE", translatable("Opens the preview in the running application, or starts the application with it."),
    {},     runOpen};

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
    {},      runRemote<RemoteCommand::pause>};

constinit const Command areaCommand{
    "area", translatable("Record an area."),
    "",     translatable("Makes the running application record an area, which is chosen on the screen."),
    {},     runRemote<RemoteCommand::area>};

constinit const Command statusCommand{
    "status",
    translatable("Print what the application is doing."),
    "[--json]",
    translatable(
        "Prints what the running application is doing: idle, selectingArea, countingDown, starting,\n"
        "recording, paused or stopping, the time recorded, and the file."),
    statusOptions,
    runStatus};

constinit const Command quitCommand{
    "quit", translatable("Save what is being recorded, and quit the application."),
    "",     translatable("Quits the running application; a recording is stopped and saved first."),
    {},     runRemote<RemoteCommand::quit>};

}  // namespace lumicrate::app
