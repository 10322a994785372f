// SPDX-License-Identifier: GPL-3.0-or-later
#include "App/ApplicationStart.h"

#include "App/CommandLine/CommandLine.h"
#include "Support/Text.h"

#include <fmt/ranges.h>

#include <algorithm>
#include <array>
#include <iterator>
#include <system_error>

namespace lumicrate::app {

namespace {

using Kind = OptionSpec::Kind;

constexpr std::array options{
    OptionSpec{"background", Kind::flag, "", translatable("Start the application without its window.")},
    OptionSpec{"action", Kind::value, "ACTION",
               translatable("Do what the icon in a launcher offers: record-area, record-screen, record-sound "
                            "or open-recordings-folder."),
               ValueKind::choice, RawValues<LauncherAction>::names},
    backendOption,
    // For the session bus: not among those that users give.
    OptionSpec{"service", Kind::flag, "", ""},
};

/// Fails in a folder that was deleted.
std::filesystem::path absolutePath(const std::string& path) {
    std::error_code error;
    return std::filesystem::absolute(path, error);
}

/// Files without a command, as launchers pass them. The slash tells them from commands.
bool isFile(const std::string& argument) {
    return argument.find('/') != std::string::npos;
}

bool isForCommandLine(const std::vector<std::string>& arguments) {
    if (arguments.empty()) return false;
    const std::string& first = arguments.front();
    if (first == "--version" || std::ranges::find(arguments, "--help") != arguments.end()) return true;
    return !first.starts_with('-') && !isFile(first);
}

}  // namespace

constinit const std::span<const OptionSpec> applicationOptions = std::span(options).first(options.size() - 1);

std::optional<ApplicationStart> readApplicationStart(const std::vector<std::string>& arguments) {
    ApplicationStart start;
    if (arguments.size() == 2 && arguments[0] == "open" && !arguments[1].empty() &&
        !arguments[1].starts_with('-')) {
        start.opened = {absolutePath(arguments[1])};
        return start;
    }
    if (isForCommandLine(arguments)) return std::nullopt;
    const ParsedOptions parsed = parseOptions(options, arguments);
    useBackend(parsed);
    if (parsed.has("background")) start.windows = ApplicationStart::Windows::background;
    if (parsed.has("service")) start.windows = ApplicationStart::Windows::onRequest;
    if (const auto name = parsed.value("action")) {
        start.action = fromRawValue<LauncherAction>(*name);
        if (!start.action)
            throwInvalidValue("action", *name,
                              fmt::format("{}", fmt::join(RawValues<LauncherAction>::names, ", ")));
    }
    for (const std::string& each : parsed.positional()) {
        if (!isFile(each)) throw UsageError(localized("“{}” is not understood here.", {each}));
        start.opened.push_back(absolutePath(each));
    }
    return start;
}

}  // namespace lumicrate::app
