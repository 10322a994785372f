// SPDX-License-Identifier: GPL-3.0-or-later
// Mutter: GNOME's compositor on virtual monitors, without GNOME's shell and therefore without a desktop
// portal. It casts and is controlled by its own interfaces on the session bus.
#pragma once

#include "Tests/Stage/ChildProcess.h"
#include "Tests/Stage/Session.h"
#include "Tests/Stage/Wayland/Input.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace lumicrate::stage {

class Mutter {
 public:
    struct Monitor {
        int width = 1280;  ///< pixels
        int height = 720;
    };
    struct Options {
        std::vector<Monitor> monitors{{}};  ///< from left to right; "Meta-0", "Meta-1" …
    };

    /// The optional package is named mutter.
    static bool isInstalled();

    /// Returns when the compositor accepts clients and casts. PipeWire must run in the session. Throws
    /// std::runtime_error.
    Mutter(std::shared_ptr<const Session> session, const Options& options);
    ~Mutter();

    /// "wayland-0"
    const std::string& displayName() const { return displayName_; }
    /// What a program needs to be a client, also of Xwayland.
    Environment environment() const;
    pid_t processId() const { return server_.processId(); }

    /// Its mouse and keyboard, which are plugged in by the first call.
    VirtualInput& input();

    enum class Cursor { hidden = 0, embedded = 1, metadata = 2 };
    /// Begins to cast a monitor, until the compositor ends. Returns the PipeWire node. There are no pictures
    /// before something changes. Throws std::runtime_error.
    std::uint32_t cast(const std::string& monitorName, Cursor cursor);

    /// Ends the compositor at once, as a crash would.
    void kill();

 private:
    class Remote;

    std::shared_ptr<const Session> session_;
    std::string displayName_ = "wayland-0";
    ChildProcess server_;
    std::string xDisplayName_;
    std::unique_ptr<Remote> remote_;  // after the server: it leaves the bus first
};

}  // namespace lumicrate::stage
