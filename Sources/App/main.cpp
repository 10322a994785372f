// SPDX-License-Identifier: GPL-3.0-or-later
#include "App/Application.h"
#include "App/CommandLine/CommandLine.h"
#include "App/DesktopApp.h"
#include "App/Language.h"

#include <malloc.h>

#include <QCoreApplication>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <system_error>
#include <vector>

namespace {

/// Everything but a bare start and "open FILE" is a command for the command line.
bool startsApplication(const std::vector<std::string>& arguments) {
    return arguments.empty() || (arguments.size() == 1 && arguments.front() == "--background");
}

std::optional<std::filesystem::path> openedFile(const std::vector<std::string>& arguments) {
    const bool isOpen = arguments.size() == 2 && arguments[0] == "open" && !arguments[1].empty() &&
                        !arguments[1].starts_with('-');
    // Fails in a folder that was deleted.
    std::error_code error;
    return isOpen ? std::optional(std::filesystem::absolute(arguments[1], error)) : std::nullopt;
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

int main(int argc, char** argv) {
    keepHeapSmall();
    QCoreApplication::setApplicationName(QStringLiteral("Lumicrate"));
    lumicrate::app::useLanguageOfDesktop();
    const std::vector<std::string> arguments(argv + 1, argv + argc);
    if (startsApplication(arguments)) return lumicrate::app::runDesktopApp(!arguments.empty());
    if (const auto opened = openedFile(arguments)) return lumicrate::app::runDesktopApp(false, opened);
    // "record" creates its own application, which may have panels.
    std::unique_ptr<QCoreApplication> application;
    if (arguments.front() != "record") application = lumicrate::app::makeConsoleApplication();
    return lumicrate::app::runCommandLine(arguments);
}
