// SPDX-License-Identifier: GPL-3.0-or-later
// Xvfb: a private X server without a screen, optionally with a window manager and a compositor.
#pragma once

#include "Tests/Stage/ChildProcess.h"

#include <functional>
#include <memory>
#include <string>

namespace lumicrate::stage {

class Xvfb {
 public:
    struct Options {
        int width = 1280;
        int height = 720;
        bool windowManager = false;  ///< openbox
        bool compositor = false;     ///< picom, drawing with XRender
    };

    /// Returns when the display accepts clients and the requested helpers manage it. Throws
    /// std::runtime_error.
    explicit Xvfb(const Options& options);
    Xvfb() : Xvfb(Options()) {}

    /// ":N"
    const std::string& displayName() const { return displayName_; }
    pid_t processId() const { return server_.processId(); }
    int width() const { return options_.width; }
    int height() const { return options_.height; }

    /// Ends the server at once, as a crash would.
    void kill();

    void startWindowManager();
    void startCompositor();
    void stopCompositor() { compositor_.reset(); }

 private:
    std::unique_ptr<ChildProcess> startClient(std::vector<std::string> arguments,
                                              const std::function<bool()>& isUp) const;

    Options options_;
    ChildProcess server_;
    std::string displayName_ = ":" + server_.readLine();
    std::unique_ptr<ChildProcess> windowManager_;
    std::unique_ptr<ChildProcess> compositor_;
};

}  // namespace lumicrate::stage
