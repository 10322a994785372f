// SPDX-License-Identifier: GPL-3.0-or-later
// Permissions: which of screen, sound and camera are unavailable on this desktop, and advice for the user.
#pragma once

#include "Support/Published.h"

#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace lumicrate {

/// Main thread only.
class Permissions {
 public:
    struct Facts {
        bool screenReachable = true;
        bool soundReachable = true;
        bool cameraReachable = true;  ///< false: the user has refused it
        bool usesPortal = false;      ///< the screen is reached through the desktop portal, as on Wayland

        bool operator==(const Facts&) const = default;
    };
    /// Something that is unavailable.
    struct Missing {
        std::string_view symbol;
        std::string title;
        std::string advice;
        std::string command;  ///< to be run in a terminal; empty if none helps

        bool operator==(const Missing&) const = default;
    };

    /// `check` must determine the facts again and pass them to update(), at once or later.
    Permissions(const Facts& facts, std::function<void()> check);
    Permissions(const Permissions&) = delete;
    Permissions& operator=(const Permissions&) = delete;

    /// Empty if everything is available.
    Published<std::vector<Missing>> missing;
    /// The result of the last checkAgain(), a sentence for the user; empty before the first.
    Published<std::string> outcome;

    static std::string headline();
    /// Ignored until the previous check has called update().
    void checkAgain();
    void update(const Facts& facts);

 private:
    std::function<void()> check_;
    bool checking_ = false;
};

}  // namespace lumicrate
