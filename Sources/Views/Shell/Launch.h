// SPDX-License-Identifier: GPL-3.0-or-later
// Launch: what the program does because of a click in a launcher of the desktop.
#pragma once

#include <QWidget>
#include <cstdint>
#include <optional>
#include <string>

namespace lumicrate::views {

/// While it exists, windows that are brought forward take the keyboard by the right of that click: window
/// managers do not give it to a program that has been in the background meanwhile. Its end ends the
/// launcher's feedback, such as a busy pointer. Has no effect without an X server. Main thread.
class Launch {
 public:
    /// `startupId` is the desktop's identifier of the click, which ends in its time: "…_TIME123456". May be
    /// empty.
    explicit Launch(std::string startupId);
    ~Launch();
    Launch(const Launch&) = delete;
    Launch& operator=(const Launch&) = delete;

    /// Asks the window manager to activate a visible window. Does nothing without a launch, and without a
    /// time in its identifier.
    static void activate(const QWidget& window);
    /// The time of the X server in an identifier.
    static std::optional<std::uint32_t> timeIn(const std::string& startupId);

 private:
    std::string startupId_;
    Launch* outer_;
};

}  // namespace lumicrate::views
