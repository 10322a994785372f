// Long work in the foreground of a command.
#pragma once

#include "Support/LongWork.h"

#include <functional>
#include <string>

namespace lumicrate::app {

/// Runs `work` on a thread of its own and waits for it. On a terminal a line shows `label` and how far the
/// work has come; SIGINT, SIGTERM and SIGHUP ask it to stop. Throws what `work` throws. Main thread; needs a
/// QCoreApplication.
void runLongWork(const std::string& label, const std::function<void(const LongWork&)>& work);

}  // namespace lumicrate::app
