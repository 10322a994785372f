// SPDX-License-Identifier: GPL-3.0-or-later
// Sway: a private Wayland compositor without a screen or a GPU, with Xwayland.
#pragma once

#include "Tests/Stage/ChildProcess.h"
#include "Tests/Stage/Session.h"
#include "Tests/Stage/Wayland/Input.h"

#include <csignal>
#include <memory>
#include <string>
#include <vector>

namespace lumicrate::stage {

class Sway {
 public:
    struct Output {
        int width = 1280;  ///< pixels
        int height = 720;
        double scale = 1;
    };
    struct Options {
        std::vector<Output> outputs{{}};  ///< from left to right; "HEADLESS-1", "HEADLESS-2" …
        bool xwayland = true;
    };

    static bool isInstalled();

    /// Returns when the compositor accepts clients, X clients too. Throws std::runtime_error.
    Sway(std::shared_ptr<const Session> session, const Options& options);
    Sway(const Sway&) = delete;
    Sway& operator=(const Sway&) = delete;
    ~Sway() { end(SIGTERM); }

    /// "wayland-1"
    const std::string& displayName() const { return displayName_; }
    /// ":0"; empty without Xwayland.
    const std::string& xDisplayName() const { return xDisplayName_; }
    /// What a program needs to be a client.
    Environment environment() const;
    pid_t processId() const { return server_.processId(); }

    /// Its mouse and keyboard, which are plugged in by the first call.
    VirtualInput& input();

    /// Sends a command ("output", "HEADLESS-1", "scale", "2") and returns when it was carried out. Throws
    /// std::runtime_error when it failed.
    void command(std::vector<std::string> words) const;
    void configure(const std::string& outputName, const Output& output) const;
    /// Returns the new output's name. Names are not used again.
    std::string addOutput(const Output& output);
    /// Unplugs the output that was added last.
    void removeLastOutput() const;

    /// Ends the compositor at once, as a crash would.
    void kill() { end(SIGKILL); }

 private:
    void end(int signal);

    std::shared_ptr<const Session> session_;
    std::size_t outputCount_;
    ChildProcess server_;
    std::string displayName_;
    std::string xDisplayName_;
    std::string socket_;
    std::unique_ptr<VirtualInput> input_;  // after the server: its connection ends first
};

}  // namespace lumicrate::stage
