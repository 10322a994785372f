// Xvfb: an X server of its own, without a screen to look at, optionally with a window manager and a
// compositor.
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
        bool windowManager = false;  // openbox
        bool compositor = false;     // picom, drawing with XRender
    };

    // Returns when the display takes clients and the helpers asked for are in charge of it.
    // Throws std::runtime_error with the reason when one of them does not come up.
    explicit Xvfb(const Options& options);
    Xvfb() : Xvfb(Options()) {}

    // ":N"
    const std::string& displayName() const { return displayName_; }
    // Of the server, for measuring it.
    pid_t processId() const { return server_->processId(); }
    int width() const { return options_.width; }
    int height() const { return options_.height; }

    // Ends the server at once, as a crash would.
    void kill();

    // For tests of what happens when they come and go.
    void startWindowManager();
    void startCompositor();
    void stopCompositor();

 private:
    std::unique_ptr<ChildProcess> startClient(std::vector<std::string> arguments) const;
    void awaitClient(ChildProcess& client, const std::string& name, const std::function<bool()>& isUp) const;

    Options options_;
    std::string displayName_;
    std::unique_ptr<ChildProcess> server_;
    std::unique_ptr<ChildProcess> windowManager_;
    std::unique_ptr<ChildProcess> compositor_;
};

}  // namespace lumicrate::stage
