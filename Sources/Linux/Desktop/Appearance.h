// SPDX-License-Identifier: GPL-3.0-or-later
// Appearance: whether the desktop prefers a dark color scheme.
#pragma once

#include <functional>
#include <memory>

namespace lumicrate::desktop {

/// Reads and follows the setting of the desktop portal. Without a portal the scheme is light. Main thread;
/// needs a running Qt event loop.
class Appearance {
 public:
    /// The scheme is light at first; `changed` is called at every change of it. If the desktop is dark
    /// already, that is as soon as the portal has answered.
    explicit Appearance(std::function<void(bool dark)> changed);
    ~Appearance();
    Appearance(const Appearance&) = delete;
    Appearance& operator=(const Appearance&) = delete;

 private:
    class Portal;

    std::unique_ptr<Portal> portal_;
};

}  // namespace lumicrate::desktop
