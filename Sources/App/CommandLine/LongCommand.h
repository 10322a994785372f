// SPDX-License-Identifier: GPL-3.0-or-later
// runLongWork: long work of a command, with progress and signals.
#pragma once

#include "Support/LongWork.h"

#include <functional>
#include <string>

namespace lumicrate::app {

/// Runs `work` on a thread of its own and waits for it, with `label` and a percentage on the terminal.
/// Nothing else may touch a file, because any access may block forever. SIGINT, SIGTERM and SIGHUP ask the
/// work to stop; if it does not, they end the program. Throws what `work` throws.
void runLongWork(const std::string& label, const std::function<void(const LongWork&)>& work);

}  // namespace lumicrate::app
