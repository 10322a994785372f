// Permissions: what the program cannot reach on this desktop, and how to mend it.
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
        bool cameraReachable = true;  ///< to be false only where a camera was asked for
        bool waylandSession = false;  ///< a Wayland compositor runs the desktop

        bool operator==(const Facts&) const = default;
    };
    /// A thing that cannot be reached.
    struct Missing {
        std::string_view symbol;
        std::string title;
        std::string advice;
        std::string command;  ///< for a terminal; empty where none helps

        bool operator==(const Missing&) const = default;
    };

    /// `look` is asked to find the facts anew and to tell them to `update`, at once or later.
    Permissions(const Facts& facts, std::function<void()> look);
    Permissions(const Permissions&) = delete;
    Permissions& operator=(const Permissions&) = delete;

    /// Empty when all can be reached.
    Published<std::vector<Missing>> missing;
    /// Between tryAgain and the next update.
    Published<bool> looking;
    /// What came of the last try; empty before the first one.
    Published<std::string> outcome;

    static std::string headline();
    /// Ignored while it looks.
    void tryAgain();
    void update(const Facts& facts);

 private:
    std::function<void()> look_;
};

}  // namespace lumicrate
