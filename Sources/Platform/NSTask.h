// SPDX-License-Identifier: GPL-3.0-or-later
// NSTask: starts other programs.
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace lumicrate {

/// Main thread.
class NSTaskLauncher {
 public:
    virtual ~NSTaskLauncher() = default;

    /// Starts a program, a path or a name in the usual folders of programs, with arguments, without a shell.
    /// It has a session of its own, no input, and outlives this process. `ended` receives its exit status, or
    /// 128 and the number of the signal that ended it, while this process runs. Throws PlatformError if it
    /// cannot be started.
    virtual void launch(const std::vector<std::string>& programAndArguments,
                        std::function<void(int status)> ended) = 0;
};

}  // namespace lumicrate
