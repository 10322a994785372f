// SPDX-License-Identifier: GPL-3.0-or-later
#include "App/Application.h"

#include "App/Language.h"
#include "Linux/Capture/X11Kit.h"
#include "Linux/Desktop/SessionBus.h"
#include "Support/ApplicationId.h"
#include "Support/Error.h"
#include "Support/Log.h"
#include "Support/Text.h"
#include "Views/Widgets/Accessibility.h"
#include "Views/Widgets/Symbols.h"
#include "Views/Widgets/Theme.h"

#include <array>
#include <clocale>
#include <string>

namespace lumicrate::app {

namespace {

// Qt keeps references to these.
std::string programName = "lumicrate";
// The first part of the windows' WM_CLASS, by which panels find the desktop entry.
std::string nameOption = "-name";
std::string windowName = applicationId;
std::array<char*, 4> arguments{programName.data(), nameOption.data(), windowName.data(), nullptr};
int argumentCount = 3;

/// Environment variables that Qt reads when it starts.
void prepareEnvironment() {
    // Windows and capture must use the same X server.
    if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "xcb");
    // Otherwise libdbus would try to launch a bus.
    const bool hasBus = desktop::sessionBusExists();
    log(LogArea::desktop, "session bus: ", hasBus);
    if (!hasBus) qputenv("DBUS_SESSION_BUS_ADDRESS", "disabled:");
}

}  // namespace

std::unique_ptr<QCoreApplication> makeConsoleApplication() {
    return std::make_unique<QCoreApplication>(argumentCount, arguments.data());
}

std::unique_ptr<QApplication> makeDesktopApplication() {
    // Checked here because Qt would abort without a message for the user.
    if (!capture::X11Kit().CGPreflightScreenCaptureAccess()) {
        throw LocalizedError(
            localized("No display server can be reached; “lumicrate --help” lists what works without one."));
    }
    prepareEnvironment();
    auto application = std::make_unique<QApplication>(argumentCount, arguments.data());
    // Qt sets the user's locale. The player's library parses its own numbers with it.
    setlocale(LC_NUMERIC, "C");
    applyLanguage(*application);
    QApplication::setQuitOnLastWindowClosed(false);
    QGuiApplication::setDesktopFileName(QString::fromLatin1(applicationId));
    views::installAccessibility();
    QApplication::setWindowIcon(views::applicationIcon());
    views::applyTheme(*application, views::ColorScheme::light);
    return application;
}

}  // namespace lumicrate::app
