// SPDX-License-Identifier: GPL-3.0-or-later
#include "App/CommandLine/CommandLine.h"

#include "App/ApplicationStart.h"
#include "App/CaptureBackend.h"
#include "App/SystemServices.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdio>
#include <filesystem>

namespace lumicrate::app {

namespace {

constexpr std::array ownCommands{&recordCommand,     &recordingsCommand, &sourcesCommand, &trimCommand,
                                 &gifCommand,        &shareCommand,      &zoomCommand,    &mixCommand,
                                 &cleanVoiceCommand, &convertCommand,    &dataCommand,    &settingsCommand,
                                 &diagnoseCommand};
constexpr std::array controlCommands{&openCommand,   &toggleCommand, &pauseCommand, &areaCommand,
                                     &replayCommand, &statusCommand, &quitCommand};
constexpr std::array helperCommands{&completeCommand, &generateCommand, &afterSaveCommand};

void printSummary(const Command& command) {
    fmt::print("  {:<12}{}\n", command.name, localized(command.summary));
}

void printHelp() {
    fmt::print("{}\n\n", localized("Lumicrate records your screen, a part of it, or sound."));
    fmt::print("{}\n", localized("Usage: lumicrate [OPTIONS] [PATH/FILE…]"));
    fmt::print("{}\n", localized("Start the application, or call the running one. Recordings are shown in "
                                 "their previews."));
    fmt::print("{}", describeOptions(applicationOptions));
    fmt::print("{}\n", localized("   or: lumicrate COMMAND [OPTIONS]"));
    for (const Command* command : recorderCommands)
        printSummary(*command);
    fmt::print("{}\n", localized("With the running application:"));
    for (const Command* command : remoteCommands)
        printSummary(*command);
    fmt::print("\n{}\n",
               localized("“lumicrate COMMAND --help” describes a command. --version prints the version."));
}

void printHelp(const Command& command) {
    fmt::print("{} {}{}{}\n", localized("Usage: lumicrate"), command.name, command.usage.empty() ? "" : " ",
               command.usage);
    if (!command.description.empty()) fmt::print("{}\n", localized(command.description));
    fmt::print("\n{}{}", command.details == nullptr ? "" : command.details(),
               describeOptions(command.options));
}

int run(const Command& command, const std::vector<std::string>& arguments) {
    const ParsedOptions parsed = parseOptions(command.options, arguments);
    if (!parsed.has("help")) return command.run(parsed);
    printHelp(command);
    return exitDone;
}

/// Before any command that works on recordings.
void prepareForRecordings() {
    // Exceeding the file size limit must be a write error, like a full disk, and not kill the program.
    std::signal(SIGXFSZ, SIG_IGN);
    for (const std::string& sentence : recoverInterruptedRecordings())
        fmt::print(stderr, "lumicrate: {}\n", sentence);
}

const Command* find(std::span<const Command* const> commands, std::string_view name) {
    const auto found = std::ranges::find(commands, name, &Command::name);
    return found == commands.end() ? nullptr : *found;
}

int dispatch(const std::vector<std::string>& arguments) {
    if (arguments.front() == "--version") {
        fmt::print("lumicrate {}\n", LUMICRATE_VERSION);
        return exitDone;
    }
    // Also "--background --help".
    if (arguments.front().starts_with('-') || arguments.front() == "help") {
        printHelp();
        return exitDone;
    }
    const std::vector<std::string> rest(arguments.begin() + 1, arguments.end());
    for (const auto commands : {remoteCommands, std::span<const Command* const>(helperCommands)})
        if (const Command* const command = find(commands, arguments.front())) return run(*command, rest);
    if (const Command* const command = find(recorderCommands, arguments.front())) {
        // Diagnosing must not change what it reports on.
        if (command != &diagnoseCommand) prepareForRecordings();
        return run(*command, rest);
    }
    throw UsageError(localized("There is no command “{}”.", {arguments.front()}));
}

}  // namespace

int statusOf(const std::function<int()>& run) {
    try {
        return run();
    } catch (const UsageError& error) {
        fmt::print(stderr, "lumicrate: {} {}\n", error.what(), localized("Try --help."));
        return exitNotUnderstood;
    } catch (const std::filesystem::filesystem_error& error) {
        // The library's own text is not for users.
        fmt::print(stderr, "lumicrate: “{}” {} {}.\n", error.path1().string(), localized("couldn't be used:"),
                   error.code().message());
        return exitFailed;
    } catch (const std::exception& error) {
        fmt::print(stderr, "lumicrate: {}\n", error.what());
        return exitFailed;
    }
}

constinit const std::span<const Command* const> recorderCommands = ownCommands;
constinit const std::span<const Command* const> remoteCommands = controlCommands;

void useBackend(const ParsedOptions& parsed) {
    const auto name = parsed.value(backendOption.name);
    if (!name) return;
    if (!backendNamed(*name)) throwInvalidValue(backendOption.name, *name, localized("x11 or portal"));
    // All parts of the process follow the variable.
    qputenv(backendVariable, QByteArray::fromStdString(*name));
}

int runCommandLine(const std::vector<std::string>& arguments) {
    return statusOf([&] { return dispatch(arguments); });
}

}  // namespace lumicrate::app
