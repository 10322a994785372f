#include "App/CommandLine/ControlCommands.h"

#include "App/CommandLine/CommandLine.h"
#include "App/CommandLine/OptionParser.h"
#include "App/ControlMethods.h"
#include "Linux/Desktop/BusService.h"
#include "Support/Text.h"

#include <fmt/format.h>

#include <array>
#include <string_view>

namespace lumicrate::app {

namespace {

constexpr OptionSpec help{"help", OptionSpec::Kind::flag, "", "Show this."};
constexpr std::array simpleSpecs{help};
constexpr std::array statusSpecs{OptionSpec{"json", OptionSpec::Kind::flag, "", "As JSON, for programs."},
                                 help};

std::string askApplication(const std::string& method) {
    const std::optional<std::string> answer = desktop::callRunningProgram(method);
    if (!answer) throw LocalizedError(localized("Lumicrate is not running, or cannot be reached."));
    return *answer;
}

void printHelp(std::string_view usage, std::string_view what, std::span<const OptionSpec> specs) {
    fmt::print("{}\n\n{}\n{}", localized(usage), describeOptions(specs), localized(what));
}

int runSimple(std::string_view usage, std::string_view what, RemoteCommand command,
              const std::vector<std::string>& arguments) {
    const ParsedOptions parsed = parseOptions(simpleSpecs, arguments);
    refusePositional(parsed);
    if (parsed.has("help")) {
        printHelp(usage, what, simpleSpecs);
    } else {
        askApplication(methodName(command));
    }
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

}  // namespace

int runToggleCommand(const std::vector<std::string>& arguments) {
    return runSimple("Usage: lumicrate toggle",
                     "Has the running application begin a recording, cancel its countdown, or stop it.\n",
                     RemoteCommand::toggle, arguments);
}

int runPauseCommand(const std::vector<std::string>& arguments) {
    return runSimple("Usage: lumicrate pause",
                     "Has the running application pause its recording, or resume it.\n", RemoteCommand::pause,
                     arguments);
}

int runAreaCommand(const std::vector<std::string>& arguments) {
    return runSimple("Usage: lumicrate area", "Has the running application record an area.\n",
                     RemoteCommand::area, arguments);
}

int runQuitCommand(const std::vector<std::string>& arguments) {
    return runSimple("Usage: lumicrate quit",
                     "Ends the running application; a recording is stopped and saved first.\n",
                     RemoteCommand::quit, arguments);
}

int runStatusCommand(const std::vector<std::string>& arguments) {
    const ParsedOptions parsed = parseOptions(statusSpecs, arguments);
    refusePositional(parsed);
    if (parsed.has("help")) {
        printHelp(
            "Usage: lumicrate status [--json]",
            "Tells what the running application is doing: idle, selectingArea, countingDown, starting,\n"
            "recording, paused or stopping, the time recorded, and the file.\n",
            statusSpecs);
        return exitDone;
    }
    const std::string text = askApplication(statusMethod);
    const std::optional<RemoteStatus> status = statusFrom(text);
    if (!status) throw LocalizedError(localized("The running Lumicrate is of another version."));
    fmt::print("{}\n", parsed.has("json") ? text : describe(*status));
    return exitDone;
}

}  // namespace lumicrate::app
