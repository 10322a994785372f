#include "App/CommandLine/CommandLine.h"

#include "App/CommandLine/ControlCommands.h"
#include "App/CommandLine/ConvertCommand.h"
#include "App/CommandLine/GifCommand.h"
#include "App/CommandLine/MixCommand.h"
#include "App/CommandLine/OptionParser.h"
#include "App/CommandLine/RecordCommand.h"
#include "App/CommandLine/RecordingsCommand.h"
#include "App/CommandLine/Recovery.h"
#include "App/CommandLine/SettingsCommand.h"
#include "App/CommandLine/SourcesCommand.h"
#include "App/CommandLine/TrimCommand.h"

#include <fmt/format.h>

#include <array>
#include <csignal>
#include <cstdio>

namespace lumicrate::app {

namespace {

struct Command {
    std::string_view name;
    std::string_view summary;
    int (*run)(const std::vector<std::string>& arguments);
};

constexpr std::array commands{
    Command{"record", "Record a screen, a window, an area or sound.", runRecordCommand},
    Command{"recordings", "List the recordings there are.", runRecordingsCommand},
    Command{"sources", "List displays, windows, microphones and cameras.", runSourcesCommand},
    Command{"trim", "Save a part of a recording.", runTrimCommand},
    Command{"gif", "Make an animated GIF of a recording.", runGifCommand},
    Command{"mix", "Mix the audio tracks of a recording into one.", runMixCommand},
    Command{"convert", "Make an MP4 file of a recording.", runConvertCommand},
    Command{"settings", "Show or change the stored preferences.", runSettingsCommand},
};

/// Those of the running application; nothing is begun or repaired by them.
constexpr std::array controls{
    Command{"toggle", "Start or stop a recording.", runToggleCommand},
    Command{"pause", "Pause or resume the recording.", runPauseCommand},
    Command{"area", "Record an area.", runAreaCommand},
    Command{"status", "Tell what the application is doing.", runStatusCommand},
    Command{"quit", "Save what is being recorded, and end the application.", runQuitCommand},
};

void printHelp() {
    fmt::print("{}\n\n", localized("Lumicrate records your screen, a part of it, or sound."));
    fmt::print("{}\n", localized("Usage: lumicrate [--background]"));
    fmt::print("  {:<12}{}\n", "",
               localized("Start the application; with --background, without its window."));
    fmt::print("{}\n", localized("   or: lumicrate COMMAND [OPTIONS]"));
    for (const Command& each : commands)
        fmt::print("  {:<12}{}\n", each.name, localized(each.summary));
    fmt::print("{}\n", localized("With the running application:"));
    for (const Command& each : controls)
        fmt::print("  {:<12}{}\n", each.name, localized(each.summary));
    fmt::print("\n{}\n", localized("“lumicrate COMMAND --help” tells more. --version prints the version."));
}

/// A file that reaches the size allowed to this user is to be an error as a full disk is, and not the end of
/// the program.
void outliveFileSizeLimit() {
    std::signal(SIGXFSZ, SIG_IGN);
}

int dispatch(const std::vector<std::string>& arguments) {
    if (arguments.empty() || arguments.front() == "--help" || arguments.front() == "help") {
        printHelp();
        return exitDone;
    }
    if (arguments.front() == "--version") {
        fmt::print("lumicrate {}\n", LUMICRATE_VERSION);
        return exitDone;
    }
    for (const Command& each : controls) {
        if (arguments.front() == each.name) return each.run({arguments.begin() + 1, arguments.end()});
    }
    for (const Command& each : commands) {
        if (arguments.front() != each.name) continue;
        outliveFileSizeLimit();
        finishInterruptedRecordings();
        return each.run({arguments.begin() + 1, arguments.end()});
    }
    const bool option = arguments.front().starts_with('-');
    throw UsageError(
        fmt::format(fmt::runtime(localized(option ? "Unknown option “{}”." : "There is no command “{}”.")),
                    arguments.front()));
}

}  // namespace

int runCommandLine(const std::vector<std::string>& arguments) {
    try {
        return dispatch(arguments);
    } catch (const UsageError& error) {
        fmt::print(stderr, "lumicrate: {} {}\n", error.what(), localized("Try --help."));
        return exitNotUnderstood;
    } catch (const std::exception& error) {
        fmt::print(stderr, "lumicrate: {}\n", error.what());
        return exitFailed;
    }
}

}  // namespace lumicrate::app
