// DesktopApp: the application that people see, from its start to its end.
#pragma once

namespace lumicrate::app {

/// Runs it; with `inBackground`, without its window. Where it runs already, that one is brought forward
/// instead. Gives the exit status.
int runDesktopApp(int argc, char** argv, bool inBackground);

}  // namespace lumicrate::app
