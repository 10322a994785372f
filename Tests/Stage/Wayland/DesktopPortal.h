// SPDX-License-Identifier: GPL-3.0-or-later
// DesktopPortal: the desktop portal on a private bus, which casts the screen of a compositor of the wlroots
// family. In place of a dialog it takes the output that a test has chosen.
#pragma once

#include "Tests/Stage/ChildProcess.h"
#include "Tests/Stage/Session.h"

#include <filesystem>
#include <memory>
#include <optional>
#include <string>

namespace lumicrate::stage {

class DesktopPortal {
 public:
    static bool isInstalled();

    /// Returns when it offers screen casts. This process's environment must point at the compositor, and
    /// PipeWire must run. `outputName` ("HEADLESS-1") is what every user chooses first. Throws
    /// std::runtime_error.
    DesktopPortal(std::shared_ptr<const Session> session, const std::string& outputName);

    /// What is chosen from now on when a program asks for a screen; nothing to cancel the request.
    void choose(const std::optional<std::string>& outputName);
    /// Of the process that casts.
    pid_t processId() const { return backend_->processId(); }

    /// Ends both of its processes at once, as a crash would. A later request makes the bus start them again,
    /// without what they need to cast here.
    void kill();

 private:
    std::shared_ptr<const Session> session_;
    std::filesystem::path choice_ = session_->runtimeFolder() / "chosen-output";
    std::unique_ptr<ChildProcess> backend_;
    std::unique_ptr<ChildProcess> frontend_;
};

}  // namespace lumicrate::stage
