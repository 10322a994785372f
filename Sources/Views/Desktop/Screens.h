// SPDX-License-Identifier: GPL-3.0-or-later
// Screens: the screens that Qt reports, for placing panels on them.
#pragma once

#include "Platform/NSScreen.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace lumicrate::views {

/// Needs a QGuiApplication.
class Screens final : public NSScreens {
 public:
    /// The capture's display ID for the screen of that name.
    using DisplayIDs = std::function<std::optional<std::uint32_t>(const std::string& name)>;

    explicit Screens(DisplayIDs displayIDs) : displayIDs_(std::move(displayIDs)) {}

    std::vector<NSScreen> screens() const override;
    Point mouseLocation() const override;

 private:
    DisplayIDs displayIDs_;
};

}  // namespace lumicrate::views
