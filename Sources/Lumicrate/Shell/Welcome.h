// SPDX-License-Identifier: GPL-3.0-or-later
// Welcome: the introduction that is shown to a new user once.
#pragma once

#include "Lumicrate/Settings/LoginItem.h"
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
    };

    /// Both references must outlive this object.
    Welcome(NSUserDefaults& defaults, SMAppService& loginService, std::filesystem::path recordingsFolder,
            std::filesystem::path home);

    /// Whether it has not been finished yet.
    static bool isDue(const NSUserDefaults& defaults);

    LoginItem loginItem;
    /// Three points; the second names the current shortcut.
    std::vector<Point> points() const;
    /// Stores that it has been shown.
    void finish();

 private:
    Point shortcutPoint() const;

    NSUserDefaults& defaults_;
    std::filesystem::path folder_;
    std::filesystem::path home_;
};

}  // namespace lumicrate
