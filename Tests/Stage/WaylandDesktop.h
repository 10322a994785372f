// SPDX-License-Identifier: GPL-3.0-or-later
// WaylandDesktop: a whole private Wayland desktop: session, compositor, and optionally sound and the desktop
// portal.
#pragma once

#include "Tests/Stage/Session.h"
#include "Tests/Stage/SoundServer.h"
#include "Tests/Stage/Wayland/DesktopPortal.h"
#include "Tests/Stage/Wayland/Sway.h"

#include <memory>
#include <optional>

namespace lumicrate::stage {

class WaylandDesktop {
 public:
    struct Options {
        Sway::Options compositor{};
        bool sound = true;
        bool portal = true;  ///< also starts the sound server, which carries the pictures
    };

    /// What must be installed; empty when nothing is missing. For GTEST_SKIP.
    static std::string missingPrograms() {
        if (!Sway::isInstalled()) return "sway is not installed.";
        if (!DesktopPortal::isInstalled()) return "xdg-desktop-portal and its backend are not installed.";
        return {};
    }

    /// While it lives, this process's environment points at it; see Session. Throws std::runtime_error.
    explicit WaylandDesktop(const Options& options) {
        if (options.sound || options.portal) sound_.emplace(session_);
        compositor_.emplace(session_, options.compositor);
        environment_.emplace(compositor_->environment());
        if (options.portal) portal_.emplace(session_, "HEADLESS-1");
    }
    WaylandDesktop() : WaylandDesktop(Options()) {}

    const Session& session() const { return *session_; }
    Sway& compositor() { return compositor_.value(); }
    VirtualInput& input() { return compositor().input(); }
    /// Throws std::bad_optional_access on a desktop without it.
    SoundServer& sound() { return sound_.value(); }
    DesktopPortal& portal() { return portal_.value(); }

 private:
    std::shared_ptr<const Session> session_ = std::make_shared<Session>();
    std::optional<SoundServer> sound_;
    std::optional<Sway> compositor_;
    std::optional<ScopedEnvironment> environment_;
    std::optional<DesktopPortal> portal_;
};

}  // namespace lumicrate::stage
