// SPDX-License-Identifier: GPL-3.0-or-later
#include "Tests/Views/Overlays/OverlayStage.h"

int main(int argc, char** argv) {
    using namespace lumicrate;
    testing::InitGoogleMock(&argc, argv);
    stage::PrivateDesktop desktop({{test::displayWidth, test::displayHeight, false, false}, false});
    test::desktop = &desktop;
    stage::runProgram({"xrandr", "--setmonitor", "*MAIN", "880/220x720/180+400+0", "screen"});
    stage::runProgram({"xrandr", "--setmonitor", "LEFT", "400/100x720/180+0+0", "none"});
    if (!qEnvironmentVariableIsSet("LUMICRATE_TEST_WITHOUT_MANAGER")) desktop.display().startWindowManager();
    qputenv("QT_QPA_PLATFORM", "xcb");
    QApplication application(argc, argv);
    QApplication::setQuitOnLastWindowClosed(false);
    return RUN_ALL_TESTS();
}
