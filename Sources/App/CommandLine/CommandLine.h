// SPDX-License-Identifier: GPL-3.0-or-later
// CommandLine: runs the command that a command line names, and turns errors into a sentence and an exit
// status.
#pragma once

#include "App/CommandLine/OptionParser.h"
#include "Support/Text.h"

#include <array>
#include <functional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace lumicrate::app {

enum ExitStatus : int {
    exitDone = 0,
    exitFailed = 1,         ///< it could not be done; one sentence on standard error says why
    exitNotUnderstood = 2,  ///< invalid command line; likewise
};

/// The exit status of `run`. What it throws is printed as one sentence on standard error.
int statusOf(const std::function<int()>& run);

/// Runs the command that `arguments` (without the program's name) ask for. Needs a QCoreApplication, except
/// for "record".
int runCommandLine(const std::vector<std::string>& arguments);

/// --backend, of the application and of "record".
inline constexpr std::array<std::string_view, 2> backendNames{"x11", "portal"};
inline constexpr OptionSpec backendOption{
    "backend",
    OptionSpec::Kind::value,
    "B",
    translatable("x11 or portal: how the screen is captured, instead of what fits the session."),
    ValueKind::choice,
    backendNames};
/// Applies it to the process, if it was given. Before SystemServices are created. Throws UsageError.
void useBackend(const ParsedOptions& parsed);

/// One command. `--help` is handled by runCommandLine: it prints usage, description, details and options.
struct Command {
    std::string_view name;
    std::string_view summary;             ///< the line in `lumicrate --help`
    std::string_view usage;               ///< what follows the command's name: "FILE [OPTIONS]"; may be empty
    std::string_view description;         ///< lines without a final line end; may be empty
    std::span<const OptionSpec> options;  ///< without --help
    /// Returns the exit status. Throws UsageError for an invalid command line, and any other exception with a
    /// sentence for the user.
    int (*run)(const ParsedOptions& parsed);
    /// Further lines of help, or null.
    std::string (*details)() = nullptr;
    std::span<const ValueKind> operands =
        {};  ///< what its arguments name; the last one holds for further ones
};

/// In the order of `lumicrate --help`: those that work by themselves, and those that talk to the running
/// application.
extern const std::span<const Command* const> recorderCommands;
extern const std::span<const Command* const> remoteCommands;

extern const Command recordCommand;
extern const Command recordingsCommand;
extern const Command sourcesCommand;
extern const Command trimCommand;
extern const Command gifCommand;
extern const Command shareCommand;
extern const Command zoomCommand;
extern const Command mixCommand;
extern const Command cleanVoiceCommand;
extern const Command convertCommand;
extern const Command dataCommand;
extern const Command settingsCommand;
extern const Command diagnoseCommand;
// These talk to the running application.
extern const Command openCommand;
extern const Command toggleCommand;
extern const Command pauseCommand;
extern const Command areaCommand;
extern const Command replayCommand;
extern const Command statusCommand;
extern const Command quitCommand;
// These serve shells, the build and the program itself, and are not in the help.
extern const Command completeCommand;
extern const Command generateCommand;
extern const Command afterSaveCommand;

}  // namespace lumicrate::app
