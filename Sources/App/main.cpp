// SPDX-License-Identifier: GPL-3.0-or-later
#include "App/Application.h"
#include "App/CommandLine/CommandLine.h"
#include "App/DesktopApp.h"
#include "App/Language.h"

#include <malloc.h>

#include <QCoreApplication>
#include <algorithm>
#include <filesystem>
#include <iterator>
#include <memory>
#include <optional>
#include <string>
#include <system_error>
#include <vector>

namespace lumicrate {
namespace {

using Arguments = std::vector<std::string>;

/// Fails in a folder that was deleted.
std::filesystem::path absolutePath(const std::string& path) {
    std::error_code error;
    return std::filesystem::absolute(path, error);
}

/// Files without a command, as launchers pass them. The slash tells them from commands.
bool areFiles(const Arguments& arguments) {
    return std::ranges::all_of(arguments, [](const std::string& each) {
        return !each.starts_with('-') && each.find('/') != std::string::npos;
    });
}

/// Nothing if `arguments` are for the command line.
std::optional<app::ApplicationStart> applicationStart(const Arguments& arguments) {
    app::ApplicationStart start;
    if (arguments == Arguments{"--background"}) {
        start.windows = app::ApplicationStart::Windows::background;
    } else if (arguments == Arguments{"--service"}) {
        start.windows = app::ApplicationStart::Windows::onRequest;
    } else if (arguments.size() == 2 && arguments[0] == "--action") {
        start.action = fromRawValue<LauncherAction>(arguments[1]);
        if (!start.action) return std::nullopt;
    } else if (arguments.size() == 2 && arguments[0] == "open" && !arguments[1].empty() &&
               !arguments[1].starts_with('-')) {
        start.opened = {absolutePath(arguments[1])};
    } else if (areFiles(arguments)) {
        std::ranges::transform(arguments, std::back_inserter(start.opened), absolutePath);
    } else {
        return std::nullopt;
    }
    return start;
}

/// Pictures and encoders are allocated outside of the heap, so that their memory returns to the system. By
/// default glibc moves this limit up to the largest block that was freed, and each encoder that is replaced
/// leaves holes in the heap, 4 MiB at 1080p.
void keepHeapSmall() {
#ifdef __GLIBC__
    mallopt(M_MMAP_THRESHOLD, 512 * 1024);
#endif
}

}  // namespace
}  // namespace lumicrate

int main(int argc, char** argv) {
    lumicrate::keepHeapSmall();
    QCoreApplication::setApplicationName(QStringLiteral("Lumicrate"));
    lumicrate::app::useLanguageOfDesktop();
    std::vector<std::string> arguments(argv + 1, argv + argc);
    if (const int status = lumicrate::app::takeBackend(arguments); status != lumicrate::app::exitDone)
        return status;
    if (const auto start = lumicrate::applicationStart(arguments))
        return lumicrate::app::runDesktopApp(*start);
    // "record" creates its own application, which may have panels.
    std::unique_ptr<QCoreApplication> application;
    if (arguments.front() != "record") application = lumicrate::app::makeConsoleApplication();
    return lumicrate::app::runCommandLine(arguments);
}
