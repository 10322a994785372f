// SPDX-License-Identifier: GPL-3.0-or-later
// PrivateDesktop: a whole private desktop: session, display and optionally sound.
#pragma once

#include "Tests/Stage/Session.h"
#include "Tests/Stage/SoundServer.h"
#include "Tests/Stage/Xvfb.h"

#include <optional>

namespace lumicrate::stage {

class PrivateDesktop {
 public:
    struct Options {
        Xvfb::Options display{1280, 720, true, false};
        bool sound = true;
    };

    /// While it lives, this process's environment points at it; see Session. Throws std::runtime_error.
    explicit PrivateDesktop(const Options& options) : display_(options.display) {
        if (options.sound) sound_.emplace(session_);
    }
    PrivateDesktop() : PrivateDesktop(Options()) {}

    const Session& session() const { return *session_; }
    Xvfb& display() { return display_; }
    /// Throws std::bad_optional_access on a desktop without sound.
    SoundServer& sound() { return sound_.value(); }

 private:
    std::shared_ptr<const Session> session_ = std::make_shared<Session>();
    std::optional<SoundServer> sound_;
    Xvfb display_;
    ScopedEnvironment environment_{
        {{"DISPLAY", display_.displayName()}, {"XAUTHORITY", std::nullopt}, {"XDG_SESSION_TYPE", "x11"}}};
};

}  // namespace lumicrate::stage
