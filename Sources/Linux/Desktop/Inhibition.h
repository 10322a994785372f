// SPDX-License-Identifier: GPL-3.0-or-later
// Inhibition: keeps the display awake and the computer from suspending, by services on both buses.
#pragma once

#include "Platform/NSProcessInfo.h"

#include <memory>
#include <string>

namespace lumicrate::desktop {

/// In force from shortly after its construction until its destruction. It asks all of these, each of which
/// may be missing, because no desktop has all, and those that exist do different things:
/// - org.freedesktop.ScreenSaver: no screen saver and no lock (almost every desktop)
/// - org.freedesktop.PowerManagement.Inhibit: no suspension by the session (Plasma, Xfce, LXQt)
/// - logind, on the system bus: no suspension and no idle action, whoever asks for it
/// They all end it as well when this process ends. Main thread, with a running Qt event loop.
class Inhibition final : public NSActivity {
 public:
    /// `reason` is a sentence that the desktop may show.
    explicit Inhibition(const std::string& reason);
    ~Inhibition() override;
    Inhibition(const Inhibition&) = delete;
    Inhibition& operator=(const Inhibition&) = delete;

 private:
    struct State;

    std::shared_ptr<State> state_;
};

}  // namespace lumicrate::desktop
