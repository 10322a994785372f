// SPDX-License-Identifier: GPL-3.0-or-later
#include "App/CommandLine/CommandLine.h"
#include "App/DesktopApp.h"

#include <QCoreApplication>
#include <string>
#include <vector>

namespace {

/// Everything but a bare start is a command for the command line.
bool startsApplication(const std::vector<std::string>& arguments) {
    return arguments.empty() || (arguments.size() == 1 && arguments.front() == "--background");
}

}  // namespace

int main(int argc, char** argv) {
    QCoreApplication::setApplicationName(QStringLiteral("Lumicrate"));
    const std::vector<std::string> arguments(argv + 1, argv + argc);
    if (startsApplication(arguments)) return lumicrate::app::runDesktopApp(argc, argv, !arguments.empty());
    const QCoreApplication application(argc, argv);
    return lumicrate::app::runCommandLine(arguments);
}
