// SPDX-License-Identifier: GPL-3.0-or-later
// NSAlert: a message or question to the user, shown over a window or alone.
#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace lumicrate {

struct NSAlert {
    struct CheckBox {
        std::string title;
        std::string toolTip;
        bool isOn = false;
    };

    std::string messageText;
    std::string informativeText;
    std::vector<std::string> buttons;  ///< the first is the default, the last cancels (Esc)
    std::optional<CheckBox> accessory;
};

/// The user's answer.
struct NSAlertResponse {
    std::size_t button = 0;  ///< its place in NSAlert::buttons
    bool isChecked = false;
};

/// Shows the alert without blocking. `answered` is called once, unless the alert's window is
/// closed before. Main thread.
using NSAlertSheet = std::function<void(const NSAlert&, std::function<void(NSAlertResponse)> answered)>;

}  // namespace lumicrate
