// SPDX-License-Identifier: GPL-3.0-or-later
#include "App/CommandLine/ManualPage.h"

#include "App/ApplicationStart.h"
#include "App/CommandLine/CommandLine.h"
#include "App/CommandLine/Preferences.h"

#include <fmt/format.h>

#include <algorithm>

namespace lumicrate::app {

namespace {

/// Text as troff prints it: no requests at the beginning of a line, no escapes, and hyphens that can be
/// copied into a command line.
std::string plain(std::string_view text) {
    std::string result;
    bool startsLine = true;
    for (const char each : text) {
        if (startsLine && (each == '.' || each == '\'')) result += "\\&";
        if (each == '\\') {
            result += "\\e";
        } else if (each == '-') {
            result += "\\-";
        } else {
            result += each;
        }
        startsLine = each == '\n';
    }
    return result;
}

std::string bold(std::string_view text) {
    return "\\fB" + plain(text) + "\\fR";
}

std::string heading(std::string_view text) {
    return fmt::format(".SH {}\n", text);
}

/// A term with an indented explanation.
std::string entry(const std::string& term, std::string_view explanation) {
    return fmt::format(".TP\n{}\n{}\n", term, plain(explanation));
}

std::string optionEntries(std::span<const OptionSpec> specs) {
    std::string text;
    for (const OptionSpec& spec : specs)
        text += entry(bold(signature(spec)), localized(spec.help));
    return text;
}

std::string commandSection(const Command& command) {
    std::string text =
        fmt::format(".SS {}\n{}", bold(command.name), bold("lumicrate " + std::string(command.name)));
    if (!command.usage.empty()) text += " " + plain(command.usage);
    text += "\n.PP\n" +
            plain(localized(command.description.empty() ? command.summary : command.description)) + "\n";
    return text + optionEntries(command.options);
}

std::string commandSections(std::span<const Command* const> commands) {
    std::string text;
    for (const Command* command : commands)
        text += commandSection(*command);
    return text;
}

std::string preferenceEntries() {
    std::string text;
    for (const Preference& preference : preferences())
        text += entry(bold(preference.key), preference.expected());
    return text;
}

/// The parts that no table has. Standard input, output and files as the program uses them.
std::string environment() {
    return heading("ENVIRONMENT") +
           entry(bold("LUMICRATE_LOG"),
                 "Areas of the program to log on standard error, separated by commas, or all: recorder, "
                 "capture, input, audio, encoder, movie, library, desktop, ui.") +
           entry(bold("LUMICRATE_BACKEND"),
                 "x11 or portal: how the screen is captured, instead of what fits the session.");
}

std::string files() {
    return heading("FILES") +
           entry("\\fI~/.config/Lumicrate/lumicrate.conf\\fR",
                 "The preferences. $XDG_CONFIG_HOME takes the place of ~/.config.") +
           entry("\\fI~/.local/state/lumicrate/unfinished\\fR",
                 "The recordings that are being written. After a crash, the next command completes them.") +
           entry("\\fIVideos/Lumicrate\\fR",
                 "The recordings, in the videos folder of the desktop, unless the preference "
                 "recordingsFolder names another folder.");
}

std::string exitStatus() {
    return heading("EXIT STATUS") + entry("0", "Success.") +
           entry("1",
                 "It could not be done; a sentence on standard error says why. A recording that ends early "
                 "is saved all the same, and its path is printed.") +
           entry("2", "The command line is not understood.");
}

std::string example(std::string_view command) {
    return fmt::format(".PP\n.EX\n    {}\n.EE\n", plain(command));
}

std::string examples() {
    return heading("EXAMPLES") + example("lumicrate record --screen --duration 10 --output talk.mp4") +
           example("lumicrate record --area 0,0,1280,720 --microphone --fps 60 --encoding-quality maximum") +
           example("lumicrate record --audio --after-save \"notify-send Saved\"");
}

}  // namespace

std::string manualPage() {
    std::string text = fmt::format(
        ".\\\" Printed by “lumicrate generate man”.\n.TH LUMICRATE 1 \"\" \"Lumicrate {}\" \"User "
        "Commands\"\n",
        LUMICRATE_VERSION);
    text += heading("NAME") + "lumicrate \\- record the screen, a part of it, a camera or sound\n";
    text += heading("SYNOPSIS") + bold("lumicrate");
    for (const OptionSpec& spec : applicationOptions)
        text += " [" + bold(signature(spec)) + "]";
    text += "\n.br\n" + bold("lumicrate") + " \\fICOMMAND\\fR [\\fIOPTIONS\\fR]\n";
    text += heading("DESCRIPTION") +
            plain(
                "Without a command, lumicrate starts the desktop application, or brings the running one to "
                "the front. The commands work without it, except those that control it.\n");
    text += optionEntries(applicationOptions);
    text += heading("COMMANDS") + commandSections(recorderCommands);
    text += heading("\"COMMANDS FOR THE RUNNING APPLICATION\"") + commandSections(remoteCommands);
    text += heading("PREFERENCES") +
            plain(
                "Stored by the windows of the application and by “lumicrate settings”. Each has a key and "
                "these valid values:\n") +
            preferenceEntries();
    text += environment() + files() + exitStatus() + examples();
    return text + heading("SEE ALSO") +
           plain(
               "The running application can also be controlled over D-Bus. Its interface is described in ") +
           "\\fIshare/dbus\\-1/interfaces\\fR.\n";
}

}  // namespace lumicrate::app
