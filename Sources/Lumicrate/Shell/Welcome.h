// SPDX-License-Identifier: GPL-3.0-or-later
// Welcome: the introduction that is shown to a new user once.
#pragma once

#include "Lumicrate/Settings/LoginItem.h"
#include "Platform/CarbonHotKeys.h"
#include "Platform/NSUserDefaults.h"
#include "Platform/SMAppService.h"

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace lumicrate {

/// Main thread only.
class Welcome {
 public:
    struct Point {
        std::string_view symbol;
        std::string title;
        std::string text;
        bool operator==(const Point&) const = default;
    };

    /// All must outlive this object. `assignment` is that of the global shortcuts, see CarbonHotKeys.
    Welcome(NSUserDefaults& defaults, SMAppService& loginService, std::filesystem::path recordingsFolder,
            std::filesystem::path home, const Published<HotKeyAssignment>* assignment);

    /// Whether it has not been finished yet.
    static bool isDue(const NSUserDefaults& defaults);

    LoginItem loginItem;
    /// Three points; the second says how to start a recording from anywhere.
    Published<std::vector<Point>> points;
    /// Stores that it has been shown.
    void finish();

 private:
    void update(const HotKeyAssignment* assignment);
    std::string shortcutText(const HotKeyAssignment* assignment) const;

    NSUserDefaults& defaults_;
    std::filesystem::path folder_;
    std::filesystem::path home_;
    Subscription assignmentChanges_;
    Subscription storeChanges_;
};

}  // namespace lumicrate
