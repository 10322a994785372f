// SPDX-License-Identifier: GPL-3.0-or-later
// The command "generate", which prints the files that are made from the program's own tables. The build
// installs them.
#include "App/CommandLine/CommandLine.h"
#include "App/CommandLine/ManualPage.h"
#include "App/CommandLine/ShellCompletion.h"
#include "App/RecorderInterface.h"
#include "Support/Text.h"

#include <fmt/format.h>

#include <array>
#include <cstdio>
#include <string>
#include <utility>

namespace lumicrate::app {

namespace {

using Generator = std::string (*)();
constexpr std::array<std::pair<std::string_view, Generator>, 5> generators = {
    {{"man", manualPage},
     {"bash", bashCompletion},
     {"zsh", zshCompletion},
     {"fish", fishCompletion},
     {"dbus", recorderIntrospection}}};

int runGenerate(const ParsedOptions& parsed) {
    const auto& words = parsed.positional();
    for (const auto& [name, generate] : generators) {
        if (words.size() != 1 || words[0] != name) continue;
        fmt::print("{}", generate());
        // A full disk must not leave a part of a file that the build takes for the whole.
        return std::fflush(stdout) == 0 ? exitDone : exitFailed;
    }
    throw UsageError(localized("Give man, bash, zsh, fish or dbus."));
}

}  // namespace

constinit const Command generateCommand{
    "generate",
    translatable("Print the manual page or the completion of a shell."),
    "man | bash | zsh | fish | dbus",
    translatable(
        "Prints the manual page, the completion of a shell, or the description of the D-Bus interface."),
    {},
    runGenerate};

}  // namespace lumicrate::app
