// SPDX-License-Identifier: GPL-3.0-or-later
#include "App/Application.h"
#include "App/ApplicationStart.h"
#include "App/CommandLine/CommandLine.h"
#include "App/DesktopApp.h"
#include "App/Language.h"

#include <malloc.h>

#include <QCoreApplication>
#include <memory>
#include <string>
#include <vector>

namespace lumicrate {
namespace {

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
    const std::vector<std::string> arguments(argv + 1, argv + argc);
    return lumicrate::app::statusOf([&arguments] {
        if (const auto start = lumicrate::app::readApplicationStart(arguments))
            return lumicrate::app::runDesktopApp(*start);
        // "record" creates its own application, which may have panels.
        std::unique_ptr<QCoreApplication> application;
        if (arguments.front() != "record") application = lumicrate::app::makeConsoleApplication();
        return lumicrate::app::runCommandLine(arguments);
    });
}
